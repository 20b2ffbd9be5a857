#include "storage/root_document.hpp"

#include <algorithm>

#include "core/collection.hpp"
#include "core/rollback.hpp"
#include "storage/failures.hpp"
#include "storage/object_record.hpp"

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
    RecordWriter blank;
    Class().save(*this, blank);
    blankRecord_ = std::make_shared<MemorySource>(blank.Joined());
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
    Entry* entry = directory_.Find(ParseGuid(text).value_or(GUID_NULL));
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
    directory_.Loaded(entry, object);
    Rollback unload([&] { directory_.Unload(entry); });
    object->Arrived(Arrival::Loaded);
    unload.Done();
    return object;
}

// A file that gives one ID to objects of two classes would make one of them be taken for the other.
Entry& RootDocument::Checked(const Reference& reference, const ClassInfo& classInfo, Entry& owner) {
    Entry& entry = directory_.Known(reference, classInfo);
    if (entry.classInfo != &classInfo) throw Failure(static_cast<HRESULT>(compound::Status::Corrupt));
    if (!entry.parent) entry.parent = Ref<Entry>(&owner);
    return entry;
}

Ref<Object> RootDocument::Get(const Reference& reference, const ClassInfo& classInfo, Entry& owner) {
    return Get(Checked(reference, classInfo, owner));
}

// Making a collection ready is no change of the document yet, though the next save writes it.
Ref<Object> RootDocument::GetChild(ChildSlot& slot, const ClassInfo& classInfo, Object& owner) {
    Entry* entry = nullptr;
    if (slot.reference) {
        entry = &Checked(*slot.reference, classInfo, owner.OwnEntry());
        if (Ref<Object> child = Reach(*entry)) return child;
        entry->stored = false;
    }
    Ref<Object> child = classInfo.create();
    if (!entry) {
        entry = &Enter(*child, owner.OwnEntry());
        Rollback leave([&] { directory_.Erase(*entry); });
        if (&owner != this) MarkChanged(owner);
        child->Arrived(Arrival::Made);
        leave.Done();
        slot.reference = Reference{entry->id, entry->tag};
    } else {
        child->Bind(*entry);
        directory_.Loaded(*entry, child);
        Rollback unload([&] { directory_.Unload(*entry); });
        MarkChanged(*child);
        child->Arrived(Arrival::Made);
        unload.Done();
    }
    return child;
}

Entry& RootDocument::Enter(Object& object, Entry& owner) {
    GUID id;
    Check(CoCreateGuid(&id));
    Entry& entry = directory_.Add(id, object.Class(), &owner);
    Rollback leave([&] { directory_.Erase(entry); });
    object.Bind(entry);
    directory_.Loaded(entry, Ref<Object>(&object));
    MarkChanged(object);
    leave.Done();
    return entry;
}

void RootDocument::MarkChanged(Object& object) {
    Entry& entry = object.OwnEntry();
    object.SetModified(true);
    directory_.MarkChanged(entry);
    Object* owner = entry.parent ? entry.parent->object.get() : nullptr;
    if (owner && owner->Class().kind == ClassKind::Collection)
        static_cast<CollectionBase&>(*owner).members.names.Rename(entry.id, entry.name);
}

void RootDocument::Erase(Entry& entry) {
    if (links_.IsMade() && entry.object && entry.object->Class().isLink)
        entry.object->ForEachReference(
            [&](ReferenceBase& reference) { links_.Move(entry.id, reference.TargetId(), std::nullopt); });
    directory_.Erase(entry);
}

// The first question reads every link of the document once.
std::vector<GUID> RootDocument::DependentLinks(const GUID& target) {
    if (!links_.IsMade()) {
        links_.Forget();
        for (const GUID& id : directory_.IdsOf([](const ClassInfo& info) { return info.isLink; })) {
            Entry* entry = directory_.Find(id);
            if (!entry) continue;
            const Ref<Object> link = Get(*entry);
            link->ForEachReference(
                [&](ReferenceBase& reference) { links_.Move(id, std::nullopt, reference.TargetId()); });
        }
        links_.Made();
    }
    return links_.LinksTo(target);
}

void RootDocument::LinkMoved(const GUID& link, const std::optional<GUID>& from, const std::optional<GUID>& to) {
    if (links_.IsMade()) links_.Move(link, from, to);
}

Entry& RootDocument::OwnerOf(Entry& entry) {
    Entry* owner = nullptr;
    Walk([&](const Reference& reference, const ClassInfo&, Object& candidate) {
        if (IsEqualGUID(reference.id, entry.id)) owner = &candidate.OwnEntry();
        return owner == nullptr;
    });
    if (!owner) throw Failure(Message::Orphaned);
    return *owner;
}

void RootDocument::Walk(const ReferenceVisitor& visit) {
    std::vector<Ref<Object>> waiting{Ref<Object>(this)};
    bool more = true;
    while (more && !waiting.empty()) {
        const Ref<Object> owner = waiting.back();
        waiting.pop_back();
        const auto reach = [&](const Reference& reference, const ClassInfo& classInfo) {
            more = more && visit(reference, classInfo, *owner);
            const bool opens = classInfo.kind == ClassKind::Collection || classInfo.hasChildren;
            if (more && opens) waiting.push_back(Get(reference, classInfo, owner->OwnEntry()));
        };
        if (owner->Class().kind == ClassKind::Collection) {
            const auto& collection = static_cast<const CollectionBase&>(*owner);
            const ClassInfo& memberClass = *collection.Class().member();
            for (std::size_t index = 0; more && index < collection.members.Count(); ++index)
                reach(collection.members.At(index), memberClass);
        } else {
            owner->ForEachChild([&](ChildSlot& slot, const ClassInfo& classInfo) {
                if (slot.reference) reach(*slot.reference, classInfo);
            });
        }
    }
}

// ---- opening --------------------------------------------------------------------------------------------------------

// Everything that says whether the file is one of ours is read before the tree in memory is given up for it.
void RootDocument::OpenFile(std::u16string_view path) {
    if (documentModified_ || file_->IsOpen()) throw Failure(Message::ModifiedBeforeLoading);
    const std::filesystem::path given = PathOf(path);
    file_->Replace(OpenCompoundFile(given, Access()));
    struct Release {
        RootDocument& root;
        GUID id;
        std::uint32_t tag;
        bool treeTouched = false, done = false;
        ~Release() {
            if (done) return;
            if (treeTouched) {
                root.Empty();
                root.directory_.Rekey(root.OwnEntry(), id);
                root.OwnEntry().tag = tag;
            }
            root.file_->Replace(nullptr);
        }
    } release{*this, OwnEntry().id, OwnEntry().tag};

    versionSupport_ = CheckVersions();
    if (versionSupport_ < 0 || versionSupport_ == LX_VER_INCOMPATIBLE) throw Failure(Message::FileFormat);
    VersionWord version;
    const RecordReader root = OpenRootRecord(version);
    const GUID id = RecordReader(root).ObjectReference().id;
    const ClassInfo* listed = Directory::ListedClass(file_->Find(kDirectoryStream), id);
    if (listed && listed != &Class()) throw Failure(Message::FileFormat);  // a document of the other kind
    release.treeTouched = true;
    LoadTree(root, version);
    std::error_code ignored;
    path_ = std::filesystem::absolute(given, ignored);
    mayLackObjects_ = false;
    release.done = true;
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
    Empty();
    const Reference self = reader.ObjectReference();
    directory_.Rekey(OwnEntry(), self.id);
    OwnEntry().tag = self.tag;
    Class().load(*this, reader, version);
    if (const auto settings = file_->Find(kSettingsStream)) {
        RecordReader settingsReader(settings);
        LoadSettings(&settingsReader);
    }
    if (!OpenTables()) RebuildDirectory();
}

bool RootDocument::OpenTables() {
    auto table = file_->Find(kDirectoryStream);
    const bool hasTable = table != nullptr;
    directory_.Open(std::move(table), file_->Find(kLocksStream));
    return hasTable;
}

// Files written before there was a directory: afterwards it is as if it had been read.
void RootDocument::RebuildDirectory() {
    Walk([&](const Reference& reference, const ClassInfo& classInfo, Object& owner) {
        directory_.List(Checked(reference, classInfo, owner.OwnEntry()));
        return true;
    });
}

// Needs no memory: an open that fails ends here.
void RootDocument::Empty() noexcept {
    directory_.Clear(&OwnEntry());
    links_.Forget();
    RecordReader blank(blankRecord_);
    Class().load(*this, blank, Class().version);
    Materialise();
    LoadSettings(nullptr);
}

}  // namespace lumvex::inside
