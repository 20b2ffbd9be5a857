#include "storage/document/root_document.hpp"

#include <algorithm>

#include "core/tree/collection.hpp"
#include "core/objects/operation.hpp"
#include "core/tree/tree_walk.hpp"
#include "storage/records/failures.hpp"
#include "storage/records/object_record.hpp"

namespace lumvex::inside {

namespace {

constexpr std::uint32_t kShareRead = 0x10040, kShareReadWrite = 0x10022, kExclusive = 0x12;
constexpr VersionWord kOldRootVersion(1);

compound::Access AccessOf(std::uint32_t flags) {
    return flags == kShareRead        ? compound::Access::ReadShared
           : flags == kShareReadWrite ? compound::Access::ReadWriteDenyWrite
                                      : compound::Access::Exclusive;
}

// A word without the minimum-reader bit may not carry one.
bool IsReadable(VersionWord word, LXVersionSupport support) {
    if (support == LX_VER_DEPRECATED) return word.Writer() <= kRootVersion;
    if (!word.NamesMinimumReader()) return word.Writer() <= kRootVersion && (word.Word() & 0x7FF60000u) == 0;
    return word.MinimumReader() <= word.Writer() && word.MinimumReader() <= kRootVersion;
}

}  // namespace

// ---- settings -------------------------------------------------------------------------------------------------------

void RootDocument::Construct(std::u16string_view name) {
    GUID id;
    Check(CoCreateGuid(&id));
    Entry& entry = directory_.Add(id, Class(), nullptr);
    entry.name = name;
    Bind(entry);
}

LXAccessMode RootDocument::AccessMode() const {
    switch (accessFlags_) {
        case kExclusive:
            return LX_EXCLUSIVE_READWRITE;
        case kShareReadWrite:
            return LX_SHARE_READWRITE;
        default:
            return LX_SHARE_READ;
    }
}

void RootDocument::AccessMode(LXAccessMode mode) {
    if (file_->IsOpen()) throw Failure(Message::FileMustBeClosed);
    accessFlags_ = mode == LX_SHARE_READ ? kShareRead : mode == LX_SHARE_READWRITE ? kShareReadWrite : kExclusive;
}

void RootDocument::SafeArrayType(LXArray type) {
    if (type != LX_VT && type != LX_R4 && type != LX_R8) throw Failure(E_INVALIDARG);
    arrayType_ = type;
}

void RootDocument::SetCacheBounds(LONG lower, LONG upper) {
    if (lower < 1 || lower >= upper) throw Failure(Message::CacheBounds);
    directory_.SetBounds(lower, upper);
}

void RootDocument::Commit(LXEventType type) { Raise(*this, EventKind::Root, *this, type); }

std::uint64_t RootDocument::BytesRead() const { return file_->IsOpen() ? file_->File().Counters().bytesRead : 0; }

bool RootDocument::IsReadOnly() const { return accessFlags_ == kShareRead; }

compound::Access RootDocument::Access() const { return AccessOf(accessFlags_); }

// ---- finding and loading --------------------------------------------------------------------------------------------

Ref<Object> RootDocument::FindID(std::u16string_view text) {
    const Entry* entry = directory_.FindKnown(ParseGuid(text).value_or(GUID_NULL));
    return entry ? entry->object : nullptr;
}

Ref<Object> RootDocument::Load(std::u16string_view text) {
    const Ref<Entry> entry = directory_.Find(ParseGuid(text).value_or(GUID_NULL));
    return entry ? Get(*entry) : nullptr;
}

Ref<Object> RootDocument::Get(Entry& entry) {
    Ref<Object> object = Reach(entry);
    if (!object) throw Failure(Message::DoesNotExist);
    return object;
}

// Null where the open file has no stream for the object.
Ref<Object> RootDocument::Reach(Entry& entry) {
    if (&entry == &OwnEntry()) return Ref<Object>(this);
    if (entry.object) {
        directory_.Touch(entry);
        return entry.object;
    }
    if (!entry.classInfo || entry.classInfo->kind == ClassKind::Root || !file_->IsOpen())
        throw Failure(Message::DoesNotExist);
    const auto source = file_->FindRecord(StreamNameOf(entry.id));
    if (!source) return nullptr;
    Ref<Object> object = entry.classInfo->create();
    object->Bind(entry);
    ReadObject(*object, source);
    TakePlace(entry, object, Arrival::Loaded);
    return object;
}

// The object takes its place in the directory, and does what its class does then. What that makes is no part of the
// operation under way: the object stays loaded even if the operation fails.
void RootDocument::TakePlace(Entry& entry, const Ref<Object>& object, Arrival how) {
    directory_.PrepareToLoad();
    Operation arrival;
    RecordStep(*object, this, [](Object& loaded, void* root) noexcept {
        static_cast<RootDocument*>(root)->directory_.Unload(loaded.OwnEntry());
    });
    directory_.Loaded(entry, object);
    if (how == Arrival::Made) MarkChanged(*object);
    object->Arrived(how);
    arrival.Keep();
}

// A file that gives one ID to objects of two classes would make one of them be taken for the other.
Ref<Entry> RootDocument::EntryOf(const Reference& reference, const ClassInfo& classInfo, Entry& owner) {
    Ref<Entry> entry = directory_.Known(reference, classInfo);
    if (entry->classInfo != &classInfo) throw Failure(static_cast<HRESULT>(compound::Status::Corrupt));
    if (!entry->parent) entry->parent = Ref<Entry>(&owner);
    return entry;
}

// Making a collection ready is no change of the document yet, though the next save writes it.
Ref<Object> RootDocument::GetChild(ChildSlot& slot, const ClassInfo& classInfo, Object& owner) {
    if (slot.reference) {
        const Ref<Entry> entry = EntryOf(*slot.reference, classInfo, owner.OwnEntry());
        if (Ref<Object> child = Reach(*entry)) return child;
        entry->stored = false;
        Ref<Object> child = classInfo.create();
        child->Bind(*entry);
        TakePlace(*entry, child, Arrival::Made);
        return child;
    }
    Ref<Object> child = classInfo.create();
    const Entry& entry = Enter(*child, owner.OwnEntry());
    RecordStep(owner, &slot, [](Object&, void* filled) noexcept { static_cast<ChildSlot*>(filled)->reference.reset(); });
    slot.reference = Reference{entry.id, entry.tag};
    if (&owner != this) MarkChanged(owner);
    child->Arrived(Arrival::Made);
    return child;
}

Entry& RootDocument::Enter(Object& object, Entry& owner) {
    GUID id;
    Check(CoCreateGuid(&id));
    MakeRoomForSteps(1);
    directory_.PrepareToLoad();
    Entry& entry = directory_.Add(id, object.Class(), &owner);
    object.Bind(entry);
    directory_.Loaded(entry, Ref<Object>(&object));
    MarkChanged(object);
    RecordStep(object, this, [](Object& entered, void* root) noexcept {
        const Ref<Entry> own(&entered.OwnEntry());
        if (own->document) static_cast<RootDocument*>(root)->Erase(std::span(&own, 1));
    });
    return entry;
}

void RootDocument::MarkModified() {
    if (documentModified_) return;
    RecordStep(*this, nullptr,
               [](Object& root, void*) noexcept { static_cast<RootDocument&>(root).documentModified_ = false; });
    documentModified_ = true;
}

void RootDocument::MarkChanged(Object& object) noexcept {
    Entry& entry = object.OwnEntry();
    object.SetModified(true);
    directory_.MarkChanged(entry);
    Object* owner = entry.parent ? entry.parent->object.get() : nullptr;
    if (owner && owner->Class().kind == ClassKind::Collection)
        static_cast<CollectionBase&>(*owner).members.names.Rename(entry.id, entry.name);
}

void RootDocument::Erase(std::span<const Ref<Entry>> entries) {
    directory_.PrepareToErase(entries);
    for (const Ref<Entry>& entry : entries) {
        if (!links_.IsMade() || !entry->object || !entry->object->Class().isLink) continue;
        entry->object->ForEachReference(
            [&](ReferenceBase& reference, const ClassInfo&) { links_.Move(entry->id, reference.Id(), std::nullopt); });
    }
    directory_.Erase(entries);
}

// The first question reads every link of the document once.
std::vector<GUID> RootDocument::DependentLinks(const GUID& target) {
    if (!links_.IsMade()) {
        links_.Forget();
        for (const GUID& id : directory_.IdsOf([](const ClassInfo& info) { return info.isLink; })) {
            const Ref<Entry> entry = directory_.Find(id);
            if (!entry) continue;
            const Ref<Object> link = Get(*entry);
            link->ForEachReference([&](ReferenceBase& reference, const ClassInfo& targetClass) {
                links_.Move(id, std::nullopt, reference.IdIn(*this, targetClass));
            });
        }
        links_.Made();
    }
    return links_.LinksTo(target);
}

// An index that the operation under way may have to take back is made anew when it is next asked for.
void RootDocument::LinkMoved(const GUID& link, const std::optional<GUID>& from, const std::optional<GUID>& to) {
    if (!links_.IsMade()) return;
    RecordStep(*this, nullptr, [](Object& root, void*) noexcept { static_cast<RootDocument&>(root).links_.Forget(); });
    links_.Move(link, from, to);
}

// The search notes the owners of all known objects that it passes, so that the next one need not begin again.
Ref<Entry> RootDocument::OwnerOf(Entry& entry) {
    if (entry.parent || &entry == &OwnEntry()) return entry.parent;
    WalkBelow(*this, [&](const Reference& reference, const ClassInfo&, Object& owner) {
        Entry* known = directory_.FindKnown(reference.id);
        if (known && !known->parent) known->parent = Ref<Entry>(&owner.OwnEntry());
        return !entry.parent;
    });
    return entry.parent;
}

// ---- opening --------------------------------------------------------------------------------------------------------

// The file is read into a new root, whose tree this one takes over when nothing can fail any more: a file that cannot be
// opened costs a client nothing of what it has in memory. The version support is answered either way.
void RootDocument::OpenFile(std::u16string_view path) {
    if (documentModified_ || file_->IsOpen()) throw Failure(Message::ModifiedBeforeLoading);
    const Ref<Object> opened = Class().create();
    auto& root = static_cast<RootDocument&>(*opened);
    root.accessFlags_ = accessFlags_;
    root.directory_.SetBounds(directory_.lowerBound, directory_.upperBound);
    try {
        root.LoadFile(PathOf(path));
    } catch (...) {
        versionSupport_ = root.versionSupport_;
        throw;
    }
    ExchangeTrees(root);
}

void RootDocument::LoadFile(const std::filesystem::path& path) {
    file_->Replace(OpenCompoundFile(path, Access()));
    versionSupport_ = CheckVersions();
    if (versionSupport_ < 0 || versionSupport_ == LX_VER_INCOMPATIBLE) throw Failure(Message::FileFormat);
    VersionWord version;
    const RecordReader root = OpenRootRecord(version);
    const GUID id = RecordReader(root).ObjectReference().id;
    const ClassInfo* listed = Directory::ListedClass(file_->Find(kDirectoryStream), id);
    if (listed && listed != &Class()) throw Failure(Message::FileFormat);  // a document of the other kind
    LoadTree(root, version);
    std::error_code ignored;
    path_ = std::filesystem::absolute(path, ignored);
}

void RootDocument::ExchangeTrees(RootDocument& other) noexcept {
    directory_.Swap(other.directory_);
    SwapEntry(other);
    Class().swap(*this, other);
    SwapSettings(other);
    file_.swap(other.file_);
    path_.swap(other.path_);
    std::swap(versionSupport_, other.versionSupport_);
    std::swap(documentModified_, other.documentModified_);
    std::swap(mayLackObjects_, other.mayLackObjects_);
    links_.Forget();
    other.links_.Forget();
}

LXVersionSupport RootDocument::CheckVersions() const {
    const auto source = file_->Find(kVersionInfoStream);
    if (!source) return LX_VER_DEPRECATED;
    RecordReader reader(source);
    unsigned result = LX_VER_RW_COMPATIBLE;
    try {
        const std::uint32_t count = reader.U32();
        for (std::uint32_t at = 0; at < count && result != LX_VER_INCOMPATIBLE; ++at) {
            const ClassInfo* known = FindClass(reader.Guid());
            const VersionWord file(reader.U32());
            if (!known) continue;
            if (file.Writer() > known->version.Writer()) result |= LX_VER_R_COMPATIBLE;
            if (file.MinimumReader() > known->version.Writer()) result |= LX_VER_INCOMPATIBLE;
            if (file.MinimumReader() > file.Writer()) return LX_VER_FAILLOAD;
        }
    } catch (const Failure&) {
        return LX_VER_FAILLOAD;
    }
    return static_cast<LXVersionSupport>(result);
}

// Behind the version word once it was accepted; the older stream has none.
RecordReader RootDocument::OpenRootRecord(VersionWord& version) {
    if (auto source = file_->Find(kRootStream)) {
        RecordReader reader(std::move(source));
        const VersionWord word(reader.U32());
        if (!IsReadable(word, versionSupport_)) {
            versionSupport_ = LX_VER_INCOMPATIBLE;
            throw Failure(Message::FileFormat);
        }
        version = VersionWord(std::min(word.Writer(), kRootVersion));
        return reader;
    }
    version = kOldRootVersion;
    auto source = file_->Find(kOldRootStream);
    if (!source) throw Failure(static_cast<HRESULT>(compound::Status::NotFound));
    return RecordReader(std::move(source));
}

void RootDocument::LoadTree(RecordReader reader, VersionWord version) {
    const Reference self = reader.ObjectReference();
    directory_.Rekey(OwnEntry(), self.id);
    OwnEntry().tag = self.tag;
    Class().load(*this, reader, version);
    if (const auto settings = file_->Find(kSettingsStream)) {
        RecordReader settingsReader(settings);
        LoadSettings(settingsReader);
    }
    if (!OpenTables()) ListEverything();
}

bool RootDocument::OpenTables() {
    auto table = file_->Find(kDirectoryStream);
    const bool hasTable = table != nullptr;
    directory_.Open(std::move(table), file_->Find(kLocksStream));
    return hasTable;
}

// For files that were written before there was a directory, or whose directory is not complete.
void RootDocument::ListEverything() {
    WalkBelow(*this, [&](const Reference& reference, const ClassInfo& classInfo, Object& owner) {
        directory_.List(*EntryOf(reference, classInfo, owner.OwnEntry()));
        return true;
    });
}

}  // namespace lumvex::inside
