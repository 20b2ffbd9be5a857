// What a document's file lacks: which objects have changed, come and gone since it was last written.
#pragma once

#include <cassert>
#include <span>
#include <unordered_set>
#include <vector>

#include "core/objects/entry.hpp"
#include "generic/long_vector.hpp"
#include "generic/make_room.hpp"
#include "storage/records/table_rows.hpp"

namespace lumvex::inside {

class UnsavedChanges {
public:
    // Room, so that so many more entries can be marked, joined or both. Throws std::bad_alloc.
    void MakeRoomFor(std::size_t entries) { MakeRoom(noted_, entries); }

    void Mark(Entry& entry) noexcept {  // its object, which is loaded, has changed
        Note(entry);
        entry.changed = true;
    }
    void Unmark(Entry& entry) noexcept;  // the change was taken back
    void Join(Entry& entry) noexcept {   // the directory table of the next save gains it
        Note(entry);
        entry.joins = true;
    }
    // Throws std::bad_alloc and has then done nothing. Of entries that the file lacks it cannot fail.
    void PrepareToErase(std::span<const Ref<Entry>> entries);
    void Erase(const Entry& entry) noexcept;

    bool IsRemoved(const GUID& id) const { return removedEntries_.contains(id); }  // the file's table still has it
    LongVector<Ref<Entry>> Marked() const;  // in the order in which they joined or changed first
    const std::vector<GUID>& RemovedStreams() const { return removedStreams_; }

    // The tables of the next save, made of those that the file has.
    bool ChangesTable() const;
    bool ChangesLocks() const { return !LockChanges().Empty(); }
    SortedRecords::Content Table(const TableOf<DirectoryRow>& stored) const;
    SortedRecords::Content Locks(const TableOf<LockRow>& stored) const;

    void Saved() noexcept;  // the file has all of it
    void Clear() noexcept;
    // The file has a table now: entries that it lists need not join it.
    void LeaveOutListed(const TableOf<DirectoryRow>& table);

private:
    void Note(Entry& entry) noexcept {
        if (entry.changed || entry.joins) return;
        assert(noted_.size() < noted_.capacity() && "there was room for every entry of the table when it was made");
        noted_.emplace_back(&entry);
    }
    TableOf<LockRow>::Changes LockChanges() const;
    void ForgetRemoved() noexcept;

    // Those that are marked (`changed`) or join (`joins`), each once. Entries that have left the document since then
    // are passed over.
    LongVector<Ref<Entry>> noted_;

    std::unordered_set<GUID, GuidHash> removedEntries_;
    std::vector<GUID> removedStreams_;
    std::vector<GUID> removedLocks_;
};

}  // namespace lumvex::inside
