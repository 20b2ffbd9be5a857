#include "storage/directory/unsaved_changes.hpp"

#include <algorithm>
#include <cassert>
#include <new>
#include <utility>

#include "generic/make_room.hpp"

namespace lumvex::inside {

namespace {

bool IsMarked(const Ref<Entry>& entry) {
    entry->ExpectNeighbours();
    return entry->changed && entry->document;
}
bool IsJoining(const Ref<Entry>& entry) {
    entry->ExpectNeighbours();
    return entry->joins && entry->document;
}

}  // namespace

void UnsavedChanges::Unmark(Entry& entry) noexcept {
    if (!entry.changed) return;
    entry.changed = false;
    if (!entry.joins) std::erase(noted_, Ref<Entry>(&entry));
}

void UnsavedChanges::PrepareToErase(std::span<const Ref<Entry>> entries) {
    const auto count = [&](auto test) { return static_cast<std::size_t>(std::ranges::count_if(entries, test)); };
    MakeRoom(removedStreams_, count([](const Ref<Entry>& entry) { return entry->stored; }));
    MakeRoom(removedLocks_, count([](const Ref<Entry>& entry) { return entry->storedLocks != 0; }));
    // The set needs memory for each element.
    std::size_t inserted = 0;
    try {
        for (const Ref<Entry>& entry : entries) {
            if (entry->listed) removedEntries_.insert(entry->id);
            ++inserted;
        }
    } catch (const std::bad_alloc&) {
        for (const Ref<Entry>& entry : entries.first(inserted)) removedEntries_.erase(entry->id);
        throw;
    }
}

void UnsavedChanges::Erase(const Entry& entry) noexcept {
    if (entry.stored) removedStreams_.push_back(entry.id);
    if (entry.storedLocks != 0) removedLocks_.push_back(entry.id);
}

LongVector<Ref<Entry>> UnsavedChanges::Marked() const {
    LongVector<Ref<Entry>> marked;
    marked.reserve(noted_.size());
    std::ranges::copy_if(noted_, std::back_inserter(marked), IsMarked);
    return marked;
}

bool UnsavedChanges::ChangesTable() const { return !removedEntries_.empty() || std::ranges::any_of(noted_, IsJoining); }

SortedRecords::Content UnsavedChanges::Table(const TableOf<DirectoryRow>& stored) const {
    TableOf<DirectoryRow>::Changes changes;
    changes.removed.assign(removedEntries_.begin(), removedEntries_.end());
    for (const Ref<Entry>& entry : noted_) {
        if (!IsJoining(entry)) continue;
        assert(entry->classInfo && "objects of unknown classes are never loaded");
        changes.Put({entry->id, entry->Second(), entry->classInfo->classId, entry->tag});
    }
    return stored.Merged(std::move(changes));
}

TableOf<LockRow>::Changes UnsavedChanges::LockChanges() const {
    TableOf<LockRow>::Changes changes;
    changes.removed = removedLocks_;
    for (const Ref<Entry>& entry : noted_) {
        if (!IsMarked(entry) || entry->locks == entry->storedLocks) continue;
        if (entry->locks == 0)
            changes.removed.push_back(entry->id);
        else
            changes.Put({entry->id, static_cast<std::int32_t>(entry->locks)});
    }
    return changes;
}

SortedRecords::Content UnsavedChanges::Locks(const TableOf<LockRow>& stored) const {
    return stored.Merged(LockChanges());
}

void UnsavedChanges::Saved() noexcept {
    std::erase_if(noted_, [](const Ref<Entry>& entry) {
        entry->listed = entry->listed || entry->joins;
        entry->joins = false;
        return !IsMarked(entry);
    });
    ForgetRemoved();
}

void UnsavedChanges::Clear() noexcept {
    noted_.clear();
    ForgetRemoved();
}

void UnsavedChanges::ForgetRemoved() noexcept {
    removedEntries_.clear();
    removedStreams_.clear();
    removedLocks_.clear();
}

void UnsavedChanges::LeaveOutListed(const TableOf<DirectoryRow>& table) {
    for (const Ref<Entry>& entry : noted_)
        if (entry->joins) entry->listed = table.Find(entry->id).has_value();
    std::erase_if(noted_, [](const Ref<Entry>& entry) {  // after all that may throw
        entry->joins = entry->joins && !entry->listed;
        return !entry->changed && !entry->joins;
    });
}

}  // namespace lumvex::inside
