#include "model/project/specifications_link.hpp"

#include <system_error>

namespace lumvex::inside {

namespace {

// What cannot be opened, for whatever reason, is not there.
Ref<CSpecifications> TryOpen(const std::filesystem::path& folder, std::u16string_view path) {
    try {
        const Ref<Object> root = CSpecifications::Create();
        auto& library = static_cast<CSpecifications&>(*root);
        library.AccessMode(LX_SHARE_READ);
        library.OpenFile((folder / path).u16string());  // a full path stays as it is
        return Ref<CSpecifications>(&library);
    } catch (const Failure&) {
        return nullptr;
    } catch (const std::system_error&) {
        return nullptr;  // a path that this system cannot express
    }
}

// Paths come from other systems too.
std::u16string_view FileName(std::u16string_view path) { return path.substr(path.find_last_of(u"/\\") + 1); }

}  // namespace

Ref<Object> SpecificationsLink::Library(const std::filesystem::path& projectFolder) {
    if (!library_ && stored_ && !FileName(stored_->path).empty()) {
        for (const std::u16string_view candidate : {std::u16string_view(stored_->path), FileName(stored_->path)}) {
            const Ref<CSpecifications> found = TryOpen(projectFolder, candidate);
            if (!found || !IsEqualGUID(found->OwnEntry().id, stored_->id)) continue;
            library_ = found;
            break;
        }
    }
    return Ref<Object>(library_.get());
}

void SpecificationsLink::Point(ISpecifications* library) {
    const Ref<Object> inside = InsideOf(library);
    if (library && (!inside || &inside->Class() != &ClassOf<CSpecifications>())) throw Failure(E_INVALIDARG);
    stored_.reset();
    library_ = Ref<CSpecifications>(static_cast<CSpecifications*>(inside.get()));
}

// A library that was opened from the stored path keeps that path when it was closed since.
std::optional<SpecificationsLink::Target> SpecificationsLink::Current() const {
    if (!library_) return stored_;
    const std::filesystem::path& path = library_->Path();
    if (path.empty() && stored_) return stored_;
    return Target{library_->OwnEntry().id, path.u16string()};
}

void SaveField(RecordWriter& writer, const SpecificationsLink& field) {
    const auto target = field.Current();
    writer.U16(target ? 1 : 0);
    if (!target) return;
    writer.Guid(target->id);
    writer.Text(target->path);
}

void LoadField(RecordReader& reader, SpecificationsLink& field) {
    field.library_ = nullptr;
    field.stored_.reset();
    if (reader.U16() == 0) return;
    const GUID id = reader.Guid();
    field.stored_ = {id, reader.Text()};
}

}  // namespace lumvex::inside
