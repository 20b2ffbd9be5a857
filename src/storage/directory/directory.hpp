// The object directory of a document: the entry of every object by ID, over the table in the file. Entries are made for
// the objects that are reached; the table is looked up where it is and not loaded.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "core/objects/document.hpp"
#include "storage/directory/load_cache.hpp"
#include "storage/directory/unsaved_changes.hpp"

namespace lumvex::inside {

class Directory {
public:
    explicit Directory(Document& owner) : owner_(owner) {}
    ~Directory() { Clear(); }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    // ---- finding ----
    Entry* FindInMemory(const GUID& id) const;  // without a look into the file; valid until the next object is loaded
    void Expect(const GUID& id) const noexcept { entries_.Expect(id); }  // as Document::Expect
    Ref<Entry> Find(const GUID& id);  // null when the document does not have the object
    // The entry of an object that a stored record refers to. That the file's table lists it is assumed for now: looking
    // it up for each object that is loaded would make loading half as fast. Valid until the next object is loaded.
    Entry& FindReferred(const Reference& reference, const ClassInfo& classInfo);
    // Every object, in memory or in the file, whose class the test accepts; ascending by ID.
    std::vector<GUID> IdsOf(bool (*accepts)(const ClassInfo&)) const;
    std::vector<Ref<Entry>> LoadedEntries() const;  // in the order in which they were made

    // ---- entering and leaving ----
    Entry& Add(const GUID& id, const ClassInfo& classInfo, Entry* parent);
    // Takes objects out, which are orphaned from then on. The first of the two makes ready what that needs: it may
    // throw std::bad_alloc and has then done nothing; of objects entered since the last save it cannot fail.
    void PrepareToErase(std::span<const Ref<Entry>> entries);
    void Erase(std::span<const Ref<Entry>> entries) noexcept;
    std::uint64_t Departures() const { return departures_; }  // changes with these two, and when the file goes
    void Rekey(Entry& entry, const GUID& id);                 // the object has another ID
    void Clear() noexcept;                                    // orphans everything
    void Swap(Directory& other) noexcept;  // with all entries; the owners and the bounds of their caches stay

    // ---- loaded objects ----
    LoadCache& Cache() { return cache_; }
    const LoadCache& Cache() const { return cache_; }
    void Unload(Entry& entry) noexcept;  // as if the object had not been loaded

    // ---- what the next save has to write ----
    void MarkChanged(Entry& entry) noexcept { changes_.Mark(entry); }  // of a loaded object
    // The next save lists the object, unless the file's table does.
    void EnsureListed(Entry& entry);
    // The same for all loaded objects. Before what follows.
    void LookUpAssumed();
    const UnsavedChanges& Changes() const { return changes_; }
    SortedRecords::Content Table() const { return changes_.Table(table_); }
    SortedRecords::Content Locks() const { return changes_.Locks(locks_); }
    // The tables as the file has them after a save; none where they stay as they are. Made before the commit, so that
    // nothing can fail after it.
    struct NextTables {
        std::optional<TableOf<DirectoryRow>> table;
        std::optional<TableOf<LockRow>> locks;
    };
    void Saved(std::span<const Ref<Entry>> written, NextTables&& tables) noexcept;

    // ---- the tables in the file; null: the file has none ----
    void Open(std::shared_ptr<const ByteSource> table, std::shared_ptr<const ByteSource> locks);
    std::size_t CountInFile() const { return table_.Count(); }
    // What only the table has of loaded objects is read, before the file goes.
    void ReadFromTable();
    // The file goes: entries without a loaded object go with it, the others wait for the next save.
    void CloseFile() noexcept;

private:
    Ref<Entry> Make(const GUID& id, const ClassInfo* classInfo);  // to be added to the table next
    void StayWithoutFile(Entry& entry) noexcept;

    Document& owner_;
    EntryTable entries_;
    TableOf<DirectoryRow> table_;
    TableOf<LockRow> locks_;
    UnsavedChanges changes_;
    LoadCache cache_{entries_};
    std::uint64_t nextOrder_ = 0, departures_ = 0;
};

}  // namespace lumvex::inside
