#include "model/project/specifications_link.hpp"

#include <system_error>

namespace lumvex::inside {

namespace {

// A full path stays as it is. One that leads elsewhere is full as well, though not every library's idea of a path says
// so.
std::u16string Within(const std::filesystem::path& folder, std::u16string_view path) {
    return LeadsElsewhere(path) ? std::u16string(path) : TextOfPath(folder / PathOf(path));
}

// Null where the library cannot be opened, for whatever reason.
Ref<CSpecifications> TryOpen(const std::filesystem::path& folder, std::u16string_view path) {
    try {
        const Ref<Object> root = ClassOf<CSpecifications>().create();
        auto& library = static_cast<CSpecifications&>(*root);
        library.AccessMode(LX_SHARE_READ);
        library.OpenFile(Within(folder, path));
        return Ref<CSpecifications>(&library);
    } catch (const Failure&) {
        return nullptr;
    } catch (const std::system_error&) {
        return nullptr;  // a path that this system cannot express
    }
}

}  // namespace

Ref<Object> SpecificationsLink::Library(const std::filesystem::path& projectFolder, Reach reach) {
    if (isOwn_ && library_->Path().empty()) {  // somebody closed its file
        library_ = nullptr;
        isOwn_ = false;
    }
    const bool isKnownMissing = reach == Reach::Shown && missingFrom_ == projectFolder;
    if (!library_ && !isKnownMissing) Find(projectFolder, reach);
    return Ref<Object>(library_.get());
}

void SpecificationsLink::Find(const std::filesystem::path& projectFolder, Reach reach) {
    if (!stored_ || FileName(stored_->path).empty()) return;
    for (const std::u16string_view candidate : {std::u16string_view(stored_->path), FileName(stored_->path)}) {
        if (reach != Reach::Anywhere && LeadsElsewhere(candidate)) continue;
        const Ref<CSpecifications> found = TryOpen(projectFolder, candidate);
        if (!found || !IsEqualGUID(found->OwnEntry().id, stored_->id)) continue;
        stored_->path = TextOfPath(found->Path());
        library_ = found;
        isOwn_ = true;
        missingFrom_.reset();
        return;
    }
    missingFrom_ = projectFolder;
}

void SpecificationsLink::Point(ISpecifications* library) {
    const Ref<Object> inside = InsideOf(library);
    if (library && (!inside || &inside->Class() != &ClassOf<CSpecifications>())) throw Failure(E_INVALIDARG);
    const Ref<CSpecifications> put(static_cast<CSpecifications*>(inside.get()));
    std::optional<Target> seen;
    if (put) seen = {put->OwnEntry().id, TextOfPath(put->Path())};
    // Nothing fails from here on. `before` releases the old library once the link is complete.
    const Ref<CSpecifications> before = std::exchange(library_, put);
    stored_ = std::move(seen);
    isOwn_ = false;
    missingFrom_.reset();
}

void SpecificationsLink::Close() noexcept {
    const Ref<CSpecifications> own = isOwn_ ? std::exchange(library_, nullptr) : nullptr;
    isOwn_ = false;
    missingFrom_.emplace();  // a closed project has no folder
}

// Where the library's file was closed since, the stored path is kept.
std::optional<SpecificationsLink::Target> SpecificationsLink::Current() const {
    if (!library_) return stored_;
    const GUID& id = library_->OwnEntry().id;
    if (!library_->Path().empty()) return Target{id, TextOfPath(library_->Path())};
    return stored_ && IsEqualGUID(stored_->id, id) ? stored_ : Target{id, {}};
}

void SaveField(RecordWriter& writer, const SpecificationsLink& field) {
    field.stored_ = field.Current();
    writer.U16(field.stored_ ? 1 : 0);
    if (!field.stored_) return;
    writer.Guid(field.stored_->id);
    writer.Text(field.stored_->path);
}

void LoadField(RecordReader& reader, SpecificationsLink& field) {
    field.library_ = nullptr;
    field.isOwn_ = false;
    field.stored_.reset();
    field.missingFrom_.reset();
    if (reader.U16() == 0) return;
    const GUID id = reader.Guid();
    field.stored_ = {id, reader.Text()};
}

}  // namespace lumvex::inside
