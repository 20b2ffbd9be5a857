// The load cache of a document: which objects are in memory, by last use. Above the upper bound the least recently used
// objects that are unmodified and that no client holds are released, down to the lower bound. Where too many are held
// or modified, the cache waits: each object goes as soon as it may.
#pragma once

#include <limits>

#include "storage/directory/entry_table.hpp"

namespace lumvex::inside {

class LoadCache {
public:
    // Takes entries that nobody needs any more out of the table.
    explicit LoadCache(EntryTable& entries) : entries_(entries) {}
    ~LoadCache() { Wait(false); }
    LoadCache(const LoadCache&) = delete;
    LoadCache& operator=(const LoadCache&) = delete;

    std::size_t Count() const { return count_; }
    LONG LowerBound() const { return lowerBound_; }
    LONG UpperBound() const { return upperBound_; }
    void SetBounds(LONG lower, LONG upper) noexcept;

    // Takes the directory's own reference on the object. May release others.
    void Add(Entry& entry, Object& object) noexcept;
    // The caller gets that reference.
    Ref<Object> Take(Entry& entry) noexcept;
    void Touch(Entry& entry) noexcept;     // the object is used now
    void Clear() noexcept;                 // releases all objects; their entries are the caller's concern
    void Swap(LoadCache& other) noexcept;  // the bounds stay; the tables of both are exchanged already

    void LetGo(Entry& entry) noexcept;  // nobody but the directory holds the object any more
    // All objects that may go. Their entries stay: the file is about to be closed, and they go with it, all together.
    void ReleaseUnheld() noexcept;
    void ReleaseSaved() noexcept;  // objects that had to wait for a save may go now

    // Entries of loaded objects, from the most recently used to the least.
    Entry* Newest() const { return newest_; }
    Entry* Oldest() const { return oldest_; }

    // Loaded objects whose entries are assumed to be listed in the file's table, the most recently used first.
    std::vector<Entry*> Assumed() const;
    // That is known of the entry now.
    void ClearAssumed(Entry& entry) noexcept;

private:
    bool MayGo(const Entry& entry) const noexcept;
    void Release(Entry& entry) noexcept;
    void ReleaseObject(Entry& entry) noexcept;
    void Evict() noexcept;
    using ReleaseOne = void (LoadCache::*)(Entry&) noexcept;
    void Drain(std::size_t lower, ReleaseOne release) noexcept;
    void Wait(bool waits) noexcept;
    void Link(Entry& entry) noexcept;  // as the most recently used
    void Unlink(Entry& entry) noexcept;

    EntryTable& entries_;
    LONG lowerBound_ = std::numeric_limits<LONG>::max();
    LONG upperBound_ = std::numeric_limits<LONG>::max();
    Entry* newest_ = nullptr;
    Entry* oldest_ = nullptr;
    std::size_t count_ = 0, assumedCount_ = 0;
    bool waits_ = false;     // more are loaded than should be, and none of them may go now
    bool draining_ = false;  // objects are being released
    bool again_ = false;     // an object that was released has let go of others
};

}  // namespace lumvex::inside
