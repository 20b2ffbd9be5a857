#include "storage/document/save_document.hpp"

#include <algorithm>
#include <map>
#include <random>
#include <unordered_set>

#include "core/tree/collection.hpp"
#include "core/tree/references.hpp"
#include "storage/compound/format/names.hpp"
#include "storage/compound/format/stream_lengths.hpp"
#include "storage/document/marks_stamp.hpp"
#include "storage/document/write_streams.hpp"
#include "storage/records/failures.hpp"
#include "storage/records/object_record.hpp"

namespace lumvex::inside {

namespace {

void RemoveStream(compound::CompoundFile& file, std::u16string_view name) {
    if (file.Contains(name)) file.Remove(name);
}

// Takes back what was written to the file, unless all of it was committed.
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

bool DocumentSaver::IsOutgrown() const {
    return OnStorage([&] { return tree_.File().Container().IsOutgrown(); });
}

void DocumentSaver::Save() {
    const Objects objects = ObjectsToWrite();
    if (IsOutgrown()) return SaveWithLargerSectors(objects);
    try {
        SaveInPlace(objects);
    } catch (const Failure& failure) {
        if (failure.Status() != kMediumFull || !IsOutgrown()) throw;
        SaveWithLargerSectors(objects);
    }
}

void DocumentSaver::SaveInPlace(const Objects& objects) {
    Directory::NextTables tables;
    const std::uint64_t marksEpoch = MarksEpochFor(objects);
    Transaction transaction(tree_.File());
    OnStorage([&] {
        compound::CompoundFile& file = tree_.File().Container();
        WriteRoot(file);
        WriteObjects(file, objects, marksEpoch);
        for (const GUID& id : tree_.Objects().Changes().RemovedStreams()) RemoveStream(file, StreamName(id));
        tree_.Objects().LookUpAssumed();
        tables = WriteTables(file, false);
        WriteVersions(file, marksEpoch);
    });
    transaction.Commit();
    tree_.MarksCountOf(marksEpoch);
    tree_.Objects().Saved(objects, std::move(tables));
}

void DocumentSaver::SaveAs(const std::filesystem::path& path, compound::Access access, Taken taken) {
    if (tree_.File().IsOpen())
        ListObjectsThatTheTableLacks();
    else if (tree_.MayLackObjects())
        RequireComplete();
    const Objects objects = ObjectsToWrite();
    SaveInto(CreateCompoundFile(path, access, SectorVersionFor(objects), taken), objects);
}

// The new file takes the place that it was made for, and the document is bound to it.
void DocumentSaver::SaveInto(std::unique_ptr<compound::CompoundFile> created, const Objects& objects) {
    Directory::NextTables tables;
    const std::uint64_t marksEpoch = MarksEpochFor(objects);
    OnStorage([&] {
        WriteRoot(*created);
        if (tree_.File().IsOpen()) CopyStreams(*created, objects);
        WriteObjects(*created, objects, marksEpoch);
        tree_.Objects().LookUpAssumed();
        tables = WriteTables(*created, true);
        WriteVersions(*created, marksEpoch);
        created->Commit();  // nothing can fail from here on
    });
    tree_.File().Replace(std::move(created));
    tree_.Complete();
    tree_.MarksCountOf(marksEpoch);
    tree_.Objects().Saved(objects, std::move(tables));
}

// Other readers refuse a file of version 3 from 2 GB on. A longer one is written anew with the larger sectors of
// version 4, and takes the old one's place when it is complete. Where no file can be made beside the old one, the
// document stays as it is, and the save fails for want of room.
void DocumentSaver::SaveWithLargerSectors(const Objects& objects) {
    ListObjectsThatTheTableLacks();
    try {
        SaveInto(OnStorage([&] { return tree_.File().Container().CreateSuccessor(4, kFirstNumber); }), objects);
    } catch (const Failure& failure) {
        if (failure.Status() != kAccessDenied) throw;
        throw Failure(kMediumFull, std::string("the file would have more than 2 GB, and could not be written anew: ") +
                                       failure.what());
    }
}

// Ordered by the top-level collection that they belong to, as the root lists these, and then by age.
DocumentSaver::Objects DocumentSaver::ObjectsToWrite() {
    std::map<const Entry*, std::size_t> ranks;
    DocumentRoot& root = tree_.Root();
    root.ForEachChild([&](ChildSlot& slot, const ClassInfo&) {
        const Entry* top = slot.reference ? tree_.Objects().FindInMemory(slot.reference->id) : nullptr;
        if (top) ranks.emplace(top, ranks.size());
    });
    const auto findRank = [&](const Entry* entry) {
        while (entry->parent && entry->parent.get() != &root.OwnEntry()) entry = entry->parent.get();
        const auto found = ranks.find(entry);
        return found != ranks.end() ? found->second : ranks.size();
    };
    const Entry* lastParent = nullptr;  // an object often has that of the object before, and so its rank
    std::size_t lastRank = 0;
    const auto rankOf = [&](const Entry* entry) {
        const Entry* const parent = entry->parent.get();
        if (parent && parent == lastParent) return lastRank;
        const bool isTop = parent == &root.OwnEntry();  // whose rank is its own
        lastParent = isTop ? nullptr : parent;
        return lastRank = findRank(entry);
    };
    using Place = std::pair<std::size_t, std::uint64_t>;
    const auto placeOf = [&](const Ref<Entry>& entry) { return Place(rankOf(entry.get()), entry->order); };
    root.Materialise();
    Objects objects = tree_.Objects().Changes().Marked();
    bool areInOrder = true;  // as they mostly are
    Place last{};
    for (const Ref<Entry>& entry : objects) {
        entry->ExpectNeighbours();
        entry->object->Materialise();
        if (CollectionBase* collection = entry->object->AsCollection()) collection->FillMarks();
        entry->object->ForEachReference([&](ReferenceBase& reference, const ClassInfo& targetClass) {
            reference.ForgetLostTarget(tree_, targetClass);
        });
        const Place place = placeOf(entry);
        areInOrder = areInOrder && last <= place;
        last = place;
    }
    if (areInOrder) return objects;
    std::vector<std::pair<Place, Ref<Entry>>> placed;
    placed.reserve(objects.size());
    for (Ref<Entry>& entry : objects) {
        const Place place = placeOf(entry);
        placed.emplace_back(place, std::move(entry));
    }
    std::ranges::sort(placed, {}, [](const auto& each) { return each.first; });
    for (std::size_t at = 0; at < placed.size(); ++at) objects[at] = std::move(placed[at].second);
    return objects;
}

// That of the file goes on. Where no marks count in it, this save begins a new one with those that it writes.
std::uint64_t DocumentSaver::MarksEpochFor(const Objects& objects) const {
    if (tree_.MarksEpoch() != 0) return tree_.MarksEpoch();
    const bool any =
        std::ranges::any_of(objects, [](const Ref<Entry>& entry) { return HasMarksToWrite(*entry->object); });
    return any ? NewMarksEpoch() : 0;
}

// A tree that has lost members with the file that they were in must not be saved as if it were whole.
void DocumentSaver::RequireComplete() {
    const auto check = [&](const Reference& reference) {
        const Entry* entry = tree_.Objects().FindInMemory(reference.id);
        if (!entry || !entry->object) throw Failure(Message::DoesNotExist);
    };
    const auto checkBelow = [&](Object& owner) {
        if (const CollectionBase* collection = owner.AsCollection()) {
            const Members& members = collection->members;
            for (std::size_t index = 0; index < members.Count(); ++index) check(members.At(index));
        } else {
            owner.ForEachChild([&](ChildSlot& slot, const ClassInfo&) {
                if (slot.reference) check(*slot.reference);
            });
        }
    };
    checkBelow(tree_.Root());
    for (const Ref<Entry>& entry : tree_.Objects().LoadedEntries()) checkBelow(*entry->object);
}

// A file may hold objects that its directory does not list. They are found where more streams have the names of objects
// than the directory has objects, the root not counted, which has no stream of its own.
void DocumentSaver::ListObjectsThatTheTableLacks() {
    std::size_t streams = 0;
    OnStorage([&] {
        tree_.File().Container().ForEachStream(
            [&](std::u16string_view name, std::uint64_t) { streams += IdOfStream(name) ? 1 : 0; });
    });
    if (streams + 1 > tree_.Objects().CountInFile()) tree_.ListEverything();
}

// Of many objects, some taken at random stand for all.
int DocumentSaver::SectorVersionFor(const Objects& objects) const {
    compound::StreamLengths lengths;
    if (tree_.File().IsOpen())
        OnStorage([&] {
            tree_.File().Container().ForEachStream(
                [&](std::u16string_view, std::uint64_t bytes) { lengths.Add(bytes); });
        });
    constexpr std::size_t kEnough = 1000;
    const std::size_t each = objects.size() / kEnough + 1;
    std::minstd_rand random;
    RecordWriter record;
    for (std::size_t index = 0; index < objects.size(); index += each == 1 ? 1 : 1 + random() % (2 * each - 1)) {
        record.Clear();
        WriteObject(*objects[index]->object, record);
        lengths.Add(record.Size(), each);
    }
    return lengths.BestVersion();
}

void DocumentSaver::WriteRoot(compound::CompoundFile& file) const {
    const DocumentRoot& root = tree_.Root();
    WriteRootRecord(file, root, {root.OwnEntry().id, root.OwnEntry().tag});
    RecordWriter settings;
    root.SaveSettings(settings);
    if (settings.Size() != 0) WriteStream(file, kSettingsStream, settings);
}

void DocumentSaver::WriteObjects(compound::CompoundFile& file, const Objects& objects, std::uint64_t marksEpoch) const {
    file.ExpectWrites(objects.size());
    RecordWriter record;
    constexpr std::size_t kAhead = 4;
    for (std::size_t at = 0; at < objects.size(); ++at) {
        if (objects.size() - at > kAhead) {
            const Entry& later = *objects[at + kAhead];
            later.ExpectNeighbours();
            file.ExpectWrite(ObjectNameOf(later.id));
        }
        const Entry& entry = *objects[at];
        record.Clear();
        WriteObject(*entry.object, record, marksEpoch);
        WriteStream(file, ObjectNameOf(entry.id), record);
        if (progress_) progress_(at + 1, objects.size());
    }
}

Directory::NextTables DocumentSaver::WriteTables(compound::CompoundFile& file, bool all) const {
    Directory::NextTables next;
    const Directory& directory = tree_.Objects();
    if (all || directory.Changes().ChangesTable()) {
        const SortedRecords::Content table = directory.Table();
        file.Write(kDirectoryStream, table.Pieces());
        next.table.emplace(tree_.File().FindOnRead(kDirectoryStream), table.Count());
    }
    if (all || directory.Changes().ChangesLocks()) {
        const SortedRecords::Content locks = directory.Locks();
        next.locks.emplace(tree_.File().FindOnRead(kLocksStream), locks.Count());
        if (locks.Count() != 0)
            file.Write(kLocksStream, locks.Pieces());
        else
            RemoveStream(file, kLocksStream);
    }
    return next;
}

// Copies every stream that this save does not write itself, those of classes that this program does not know included,
// and other programs' folders. Names are compared without regard to case, as other programs may have written them in
// another one.
void DocumentSaver::CopyStreams(compound::CompoundFile& to, const Objects& rewritten) const {
    struct HashName {
        std::size_t operator()(const compound::FoldedName& name) const { return static_cast<std::size_t>(name.Hash()); }
    };
    std::unordered_set<compound::FoldedName, HashName> skipped;
    for (const std::u16string_view name :
         {kVersionInfoStream, kRootStream, kOldRootStream, kDirectoryStream, kLocksStream, kSettingsStream})
        skipped.emplace(name);
    for (const Ref<Entry>& entry : rewritten) skipped.emplace(StreamName(entry->id));
    for (const GUID& id : tree_.Objects().Changes().RemovedStreams()) skipped.emplace(StreamName(id));
    to.CarryFrom(tree_.File().Container());
    tree_.File().Container().ReadAll([&](std::u16string_view name, std::span<const std::byte> bytes) {
        if (!skipped.contains(compound::FoldedName(name))) WriteStream(to, name, bytes);
    });
}

}  // namespace lumvex::inside
