// Saving a root document: one commit of the compound file per save, so that a save that fails or is killed leaves the
// document that was there.
#include <algorithm>
#include <map>
#include <unordered_set>

#include "core/tree/collection.hpp"
#include "core/tree/references.hpp"
#include "storage/compound/format/names.hpp"
#include "storage/records/failures.hpp"
#include "storage/records/object_record.hpp"
#include "storage/document/root_document.hpp"

namespace lumvex::inside {

namespace {

// From this size on the larger sectors cost less than they waste.
constexpr std::uint64_t kLargeDocument = std::uint64_t{1} << 20;

void WriteStream(compound::CompoundFile& file, std::u16string_view name, const RecordWriter& record) {
    file.Write(name, record.Pieces());
}

void WriteStream(compound::CompoundFile& file, std::u16string_view name, std::span<const std::byte> bytes) {
    const compound::Piece piece = bytes;
    file.Write(name, std::span(&piece, 1));
}

void RemoveStream(compound::CompoundFile& file, std::u16string_view name) {
    if (file.Contains(name)) file.Remove(name);
}

// Takes back what was written unless all of it was.
class Transaction {
public:
    explicit Transaction(DocumentFile& file) : file_(file) {}
    ~Transaction() {
        if (!committed_) file_.Revert();
    }
    void Commit() {
        file_.Commit();
        committed_ = true;
    }

private:
    DocumentFile& file_;
    bool committed_ = false;
};

}  // namespace

void RootDocument::SaveFile() {
    if (!file_->IsOpen()) throw Failure(Message::NoFile);
    if (IsReadOnly()) throw Failure(kAccessDenied);
    const Objects objects = ObjectsToWrite();
    const auto isOutgrown = [this] { return OnStorage([this] { return file_->File().IsOutgrown(); }); };
    if (isOutgrown()) return SaveWithLargerSectors(objects);
    try {
        SaveInPlace(objects);
    } catch (const Failure& failure) {
        if (failure.Status() != kMediumFull || !isOutgrown()) throw;
        SaveWithLargerSectors(objects);
    }
}

void RootDocument::SaveInPlace(const Objects& objects) {
    Directory::NextTables tables;
    Transaction transaction(*file_);
    OnStorage([&] {
        compound::CompoundFile& file = file_->File();
        WriteRoot(file);
        WriteObjects(file, objects);
        for (const GUID& id : directory_.RemovedStreams()) RemoveStream(file, StreamNameOf(id));
        directory_.ListWhatWasAssumed();
        tables = WriteTables(file, false);
    });
    transaction.Commit();
    directory_.Saved(objects, std::move(tables));
}

void RootDocument::SaveFileAs(std::u16string_view path) {
    if (IsReadOnly()) throw Failure(kAccessDenied);
    const std::filesystem::path given = PathOf(path);
    if (file_->IsOpen() && compound::IsSameFile(given, path_)) return SaveFile();
    if (file_->IsOpen()) ListWhatTheTableLacks();
    if (!file_->IsOpen() && mayLackObjects_) CheckComplete();
    std::error_code ignored;
    std::filesystem::path bound = std::filesystem::absolute(given, ignored);
    const Objects objects = ObjectsToWrite();
    SaveInto(CreateCompoundFile(given, Access(), SectorVersionFor(objects)), objects);
    path_ = std::move(bound);
}

// What the new file was made for: it takes its place, and the document is bound to it.
void RootDocument::SaveInto(std::unique_ptr<compound::CompoundFile> created, const Objects& objects) {
    Directory::NextTables tables;
    OnStorage([&] {
        WriteRoot(*created);
        if (file_->IsOpen()) CopyStreams(*created, objects);
        WriteObjects(*created, objects);
        directory_.ListWhatWasAssumed();
        tables = WriteTables(*created, true);
        created->Commit();  // nothing can fail from here on
    });
    file_->Replace(std::move(created));
    mayLackObjects_ = false;
    directory_.Saved(objects, std::move(tables));
}

// Other readers refuse a file of version 3 from 2 GB on, so a longer one gets the larger sectors of version 4: a new
// file in the old one's place, all or nothing as well. Where no file can be made beside it the document stays as it is,
// and there is no room in it.
void RootDocument::SaveWithLargerSectors(const Objects& objects) {
    ListWhatTheTableLacks();
    try {
        SaveInto(OnStorage([this] { return file_->File().CreateSuccessor(4); }), objects);
    } catch (const Failure& failure) {
        if (failure.Status() != kAccessDenied) throw;
        throw Failure(kMediumFull,
                      std::string("the file would have more than 2 GB, and could not be written anew: ") + failure.what());
    }
}

// What is loaded stays usable without the file: the owners above it are loaded, too, and lists and arrays that are still
// in the file are read. A document that was opened for reading and not modified keeps only what clients hold. The file is
// released even where this fails.
void RootDocument::CloseFile() {
    if (!file_->IsOpen()) return;
    std::vector<Ref<Object>> staying;  // until the file has gone, whatever the bounds of the cache
    struct Release {
        RootDocument& root;
        ~Release() {
            root.directory_.CloseFile();
            root.file_->Replace(nullptr);
            root.path_.clear();
            root.mayLackObjects_ = true;
            root.FileClosed();
        }
    } release{*this};
    if (IsReadOnly() && !documentModified_) directory_.ReleaseUnheld();
    staying = LoadedWithOwners();
    Materialise();
    for (const Ref<Object>& object : staying) object->Materialise();
    directory_.ReadFromTable();
    if (!IsReadOnly()) documentModified_ = false;
}

// All that is loaded and, loaded now where it was not, all that owns something of it. All of it is held by the answer: the
// search for an owner loads others, which may push each other out of the cache.
std::vector<Ref<Object>> RootDocument::LoadedWithOwners() {
    std::vector<Ref<Object>> objects;
    std::unordered_set<const Entry*> held{&OwnEntry()};
    for (const Ref<Entry>& entry : directory_.LoadedEntries()) {
        objects.push_back(entry->object);
        held.insert(entry.get());
    }
    for (std::size_t next = 0; next < objects.size(); ++next) {
        const Ref<Entry> owner = OwnerOf(objects[next]->OwnEntry());
        if (owner && held.insert(owner.get()).second) objects.push_back(Get(*owner));
    }
    return objects;
}

// The file is closed even if clients hold objects whose arrays and lists stand in it: they are orphans now, which are
// not asked for either.
RootDocument::~RootDocument() { file_->Replace(nullptr); }

// Ordered by the top-level collection they stand under, as the root lists these, and then by age.
RootDocument::Objects RootDocument::ObjectsToWrite() {
    std::map<const Entry*, std::size_t> ranks;
    ForEachChild([&](ChildSlot& slot, const ClassInfo&) {
        const Entry* top = slot.reference ? directory_.FindKnown(slot.reference->id) : nullptr;
        if (top) ranks.emplace(top, ranks.size());
    });
    const auto rankOf = [&](const Entry* entry) {
        while (entry->parent && entry->parent.get() != &OwnEntry()) entry = entry->parent.get();
        const auto found = ranks.find(entry);
        return found != ranks.end() ? found->second : ranks.size();
    };
    std::vector<std::pair<std::size_t, Ref<Entry>>> ranked;
    Materialise();
    for (Ref<Entry>& entry : directory_.ChangedEntries()) {
        entry->object->Materialise();
        entry->object->ForEachReference([&](ReferenceBase& reference, const ClassInfo& targetClass) {
            reference.ForgetLostTarget(*this, targetClass);
        });
        const std::size_t rank = rankOf(entry.get());
        ranked.emplace_back(rank, std::move(entry));
    }
    std::ranges::sort(ranked, {}, [](const auto& each) { return std::pair(each.first, each.second->order); });
    Objects objects;
    objects.reserve(ranked.size());
    for (auto& each : ranked) objects.push_back(std::move(each.second));
    return objects;
}

// A tree that has lost members with the file they stood in must not be saved as if it were whole.
void RootDocument::CheckComplete() {
    const auto check = [&](const Reference& reference) {
        const Entry* entry = directory_.FindKnown(reference.id);
        if (!entry || !entry->object) throw Failure(Message::DoesNotExist);
    };
    const auto checkBelow = [&](Object& owner) {
        if (owner.Class().kind == ClassKind::Collection) {
            const Members& members = static_cast<CollectionBase&>(owner).members;
            for (std::size_t index = 0; index < members.Count(); ++index) check(members.At(index));
        } else {
            owner.ForEachChild([&](ChildSlot& slot, const ClassInfo&) {
                if (slot.reference) check(*slot.reference);
            });
        }
    };
    if (CarriesUnknown()) throw Failure(Message::DoesNotExist);
    checkBelow(*this);
    for (const Ref<Entry>& entry : directory_.LoadedEntries()) checkBelow(*entry->object);
}

// A file may hold objects that its directory does not list. They are found where more streams have the names of objects
// than the directory has objects, the root not counted, which has no stream of its own.
void RootDocument::ListWhatTheTableLacks() {
    std::size_t streams = 0;
    OnStorage([&] {
        file_->File().ForEachStream([&](std::u16string_view name, std::uint64_t) { streams += IdOfStream(name) ? 1 : 0; });
    });
    if (streams + 1 > directory_.CountInFile()) ListEverything();
}

int RootDocument::SectorVersionFor(const Objects& objects) const {
    std::uint64_t size = file_->IsOpen() ? file_->File().FileSize() : 0;
    RecordWriter record;
    for (auto entry = objects.begin(); entry != objects.end() && size < kLargeDocument; ++entry) {
        record.Clear();
        WriteObject(*(*entry)->object, record);
        size += record.Size();
    }
    return size < kLargeDocument ? 3 : 4;
}

void RootDocument::WriteRoot(compound::CompoundFile& file) const {
    RecordWriter record;
    const auto writeHeadAndFields = [&] {
        record.ObjectReference({OwnEntry().id, OwnEntry().tag});
        Class().save(*this, record);
    };
    writeHeadAndFields();
    WriteStream(file, kOldRootStream, record);
    record.Clear();
    record.U32(VersionWord(kRootVersion, kRootVersion).Word());
    writeHeadAndFields();
    WriteStream(file, kRootStream, record);
    record.Clear();
    SaveSettings(record);
    if (record.Size() != 0) WriteStream(file, kSettingsStream, record);
}

void RootDocument::WriteObjects(compound::CompoundFile& file, const Objects& objects) const {
    RecordWriter record;
    for (const Ref<Entry>& entry : objects) {
        record.Clear();
        WriteObject(*entry->object, record);
        WriteStream(file, StreamNameOf(entry->id), record);
    }
}

Directory::NextTables RootDocument::WriteTables(compound::CompoundFile& file, bool all) const {
    Directory::NextTables next;
    if (all || directory_.TableChanged()) {
        const std::vector<std::byte> table = directory_.Table();
        WriteStream(file, kDirectoryStream, table);
        next.table = Directory::NextTable(file_->Later(kDirectoryStream), table);
    }
    if (all || directory_.LocksChanged()) {
        const std::vector<std::byte> locks = directory_.Locks();
        next.locks = Directory::NextLocks(file_->Later(kLocksStream), locks);
        if (!locks.empty())
            WriteStream(file, kLocksStream, locks);
        else
            RemoveStream(file, kLocksStream);
    }
    RecordWriter versions;
    versions.U32(static_cast<std::uint32_t>(AllClasses().size()));
    for (const ClassInfo* each : AllClasses()) {
        versions.Guid(each->classId);
        versions.U32(each->version.Word());
    }
    WriteStream(file, kVersionInfoStream, versions);
    return next;
}

// Every stream that this save does not write itself goes along, those of classes this program does not know included,
// and so do other programs' folders.
// Names are the same whatever their case: another program may have written them in another one.
void RootDocument::CopyStreams(compound::CompoundFile& to, const Objects& rewritten) {
    struct HashName {
        std::size_t operator()(const compound::FoldedName& name) const { return static_cast<std::size_t>(name.Hash()); }
    };
    std::unordered_set<compound::FoldedName, HashName> skipped;
    for (const std::u16string_view name :
         {kVersionInfoStream, kRootStream, kOldRootStream, kDirectoryStream, kLocksStream, kSettingsStream})
        skipped.emplace(name);
    for (const Ref<Entry>& entry : rewritten) skipped.emplace(StreamNameOf(entry->id));
    for (const GUID& id : directory_.RemovedStreams()) skipped.emplace(StreamNameOf(id));
    to.CarryFrom(file_->File());
    file_->File().ReadAll([&](std::u16string_view name, std::span<const std::byte> bytes) {
        if (!skipped.contains(compound::FoldedName(name))) WriteStream(to, name, bytes);
    });
}

}  // namespace lumvex::inside
