// The object directory of a document and its load cache: every known object's entry by ID, over the table that stands in
// the file. Entries are made for what is reached; the table is looked up, never loaded.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <unordered_set>
#include <vector>

#include "core/objects/document.hpp"
#include "core/base/guid_order.hpp"
#include "storage/document/entry_table.hpp"
#include "storage/records/sorted_records.hpp"

namespace lumvex::inside {

// A record of the object directory: ID, second ID, class ID, tag.
inline constexpr std::size_t kTableRecord = 52, kSecondAt = 16, kClassAt = 32, kTagAt = 48;

class Directory {
public:
    explicit Directory(Document& owner) : owner_(owner) {}
    ~Directory() { Clear(); }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    // ---- finding and entering ----
    Entry* FindKnown(const GUID& id) const;  // without a look into the file; valid until the next object is loaded
    Ref<Entry> Find(const GUID& id);
    // The entry of an object that a stored record refers to. That the file's table lists it is assumed for now: to look
    // it up for each object that is loaded would make loading half as fast.
    Ref<Entry> Known(const Reference& reference, const ClassInfo& classInfo);
    Entry& Add(const GUID& id, const ClassInfo& classInfo, Entry* parent);
    void List(Entry& entry);  // in the table of the next save, if the file's table lacks it
    // Takes objects out, with what has to be ready before. The first may throw std::bad_alloc and has then done nothing;
    // for objects entered since the last save it cannot fail.
    void PrepareToErase(std::span<const Ref<Entry>> entries);
    void Erase(std::span<const Ref<Entry>> entries) noexcept;
    void Rekey(Entry& entry, const GUID& id);
    void Clear() noexcept;  // orphans everything
    void Swap(Directory& other) noexcept;  // with all entries; the owners and their cache bounds stay

    // Every object, known or stored, whose class the test accepts; ascending by ID.
    std::vector<GUID> IdsOf(bool (*accepts)(const ClassInfo&)) const;

    // ---- the load cache: above the upper bound, the least recently used objects that are unmodified and that no client
    // holds are released, down to the lower bound; where too many are held or modified, as soon as they are not any more
    void PrepareToLoad();                                    // the next Loaded() cannot fail
    void Loaded(Entry& entry, Ref<Object> object) noexcept;  // takes the directory's own reference
    void Unload(Entry& entry) noexcept;                      // as if it had not been loaded
    void Touch(Entry& entry) noexcept;                       // used now
    void SetBounds(LONG lower, LONG upper) noexcept;
    void LetGo(Entry& entry) noexcept;                       // nobody but the directory holds the object any more
    void ReleaseUnheld() noexcept;                           // all that may go
    std::size_t LoadedCount() const { return loadedCount_; }
    LONG lowerBound = std::numeric_limits<LONG>::max();
    LONG upperBound = std::numeric_limits<LONG>::max();

    // ---- what the next save has to write ----
    // Lists the loaded objects that the file has but its table does not. Before everything below.
    void ListWhatWasAssumed();
    void MarkChanged(Entry& entry) noexcept;  // of a loaded object
    std::vector<Ref<Entry>> ChangedEntries() const;  // in the order in which they changed
    std::vector<Ref<Entry>> LoadedEntries() const;   // in the order in which they were made
    const std::vector<GUID>& RemovedStreams() const { return removedStreams_; }
    bool TableChanged() const;
    bool LocksChanged() const { return !LockChanges().Empty(); }
    std::vector<std::byte> Table() const;  // "ROOTDIR-V100" as it has to stand
    std::vector<std::byte> Locks() const;  // "LOCKS-V100"; empty when every counter is 0
    // The tables as the file has them after a save; none where they stay as they are. Made before the commit, so that
    // nothing can fail behind it.
    struct NextTables {
        std::optional<SortedRecords> table, locks;
    };
    static SortedRecords NextTable(std::shared_ptr<const ByteSource> source, std::span<const std::byte> content);
    static SortedRecords NextLocks(std::shared_ptr<const ByteSource> source, std::span<const std::byte> content);
    void Saved(const std::vector<Ref<Entry>>& written, NextTables&& tables) noexcept;

    // ---- the tables in the file; null: the file has none ----
    // The class under which a table lists an object; null when it does not, or when this program does not know it.
    static const ClassInfo* ListedClass(const std::shared_ptr<const ByteSource>& table, const GUID& id);
    void Open(std::shared_ptr<const ByteSource> table, std::shared_ptr<const ByteSource> locks);
    // The file goes away: entries without a loaded object go with it, the others wait for the next save. What the table
    // alone knows of these has been read before.
    void ReadFromTable();
    void CloseFile() noexcept;
    std::size_t CountInFile() const { return table_.Count(); }

private:
    static constexpr std::size_t kLocksRecord = 20;  // ID, counter

    Ref<Entry> Make(const GUID& id, const ClassInfo* classInfo);
    bool MayGo(const Entry& entry) const noexcept;
    void Release(Entry& entry) noexcept;
    void Evict() noexcept;
    void Drain(std::size_t lower) noexcept;
    void Wait(bool waits) noexcept;
    SortedRecords::Changes LockChanges() const;
    void Join(Entry& entry) noexcept;  // the table of the next save
    void Link(Entry& entry) noexcept;  // as the most recently used
    void Unlink(Entry& entry) noexcept;

    Document& owner_;
    EntryTable entries_;
    SortedRecords table_{kTableRecord};
    SortedRecords locks_{kLocksRecord};

    std::vector<Ref<Entry>> changed_;
    std::vector<Ref<Entry>> added_;      // not in the file's table yet
    std::unordered_set<GUID, GuidHash> removedEntries_;  // still in the file's table
    std::vector<GUID> removedStreams_;
    std::vector<GUID> removedLocks_;

    Entry* newest_ = nullptr;
    Entry* oldest_ = nullptr;
    std::size_t loadedCount_ = 0, assumedCount_ = 0;  // of the loaded objects
    bool waits_ = false;     // more are loaded than should be, and none of them may go now
    bool draining_ = false;  // objects are being released
    bool again_ = false;     // what was released has let go of others
    std::uint64_t nextOrder_ = 0;
};

}  // namespace lumvex::inside
