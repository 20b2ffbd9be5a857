#include "storage/directory/load_cache.hpp"

#include "core/objects/object.hpp"

namespace lumvex::inside {

void LoadCache::SetBounds(LONG lower, LONG upper) noexcept {
    lowerBound_ = lower;
    upperBound_ = upper;
    Wait(false);
    Evict();
}

void LoadCache::Add(Entry& entry, Object& object) noexcept {
    object.AddRefInCall();
    entry.object = Ref<Object>::Attach(&object);
    Link(entry);
    Evict();
}

Ref<Object> LoadCache::Take(Entry& entry) noexcept {
    Unlink(entry);
    return std::exchange(entry.object, nullptr);
}

void LoadCache::Touch(Entry& entry) noexcept {
    if (newest_ == &entry) return;
    Unlink(entry);
    Link(entry);
}

// Objects mostly lie in memory in the order in which they were used.
void LoadCache::Clear() noexcept {
    Wait(false);
    newest_ = nullptr;
    count_ = assumedCount_ = 0;
    for (Entry* next = std::exchange(oldest_, nullptr); next;) {
        Entry& entry = *std::exchange(next, next->newer);
        entry.newer = entry.older = nullptr;
        const Ref<Object> object = std::exchange(entry.object, nullptr);  // may be the last that holds the entry
    }
}

void LoadCache::Swap(LoadCache& other) noexcept {
    std::swap(newest_, other.newest_);
    std::swap(oldest_, other.oldest_);
    std::swap(count_, other.count_);
    std::swap(assumedCount_, other.assumedCount_);
    for (LoadCache* cache : {this, &other}) {
        cache->Wait(false);
        cache->Evict();
    }
}

void LoadCache::Link(Entry& entry) noexcept {
    Entry* const before = std::exchange(newest_, &entry);
    entry.older = before;
    entry.newer = nullptr;
    (before ? before->newer : oldest_) = &entry;
    ++count_;
    if (entry.assumed) ++assumedCount_;
}

void LoadCache::Unlink(Entry& entry) noexcept {
    (entry.older ? entry.older->newer : oldest_) = entry.newer;
    (entry.newer ? entry.newer->older : newest_) = entry.older;
    entry.newer = entry.older = nullptr;
    --count_;
    if (entry.assumed) --assumedCount_;
}

bool LoadCache::MayGo(const Entry& entry) const noexcept {
    return !entry.changed && entry.stored && entry.object->HeldByDirectoryOnly();
}

void LoadCache::ReleaseObject(Entry& entry) noexcept {
    Unlink(entry);
    entry.object.Detach()->ReleaseInCall();
}

void LoadCache::Release(Entry& entry) noexcept {
    const Ref<Entry> kept(&entry);
    ReleaseObject(entry);
    constexpr unsigned kOurs = 2;  // the table's reference and the one above
    if (entry.Holders() == kOurs && entry.listed && entry.locks == entry.storedLocks) entries_.Take(GUID(entry.id));
}

// While the cache waits, LetGo() and ReleaseSaved() tell of every object that may go: a load need not look for one.
void LoadCache::Evict() noexcept {
    if (!waits_ && count_ > static_cast<std::size_t>(upperBound_))
        Drain(static_cast<std::size_t>(lowerBound_), &LoadCache::Release);
}

// An object that may not go becomes the most recently used, so that the next time does not begin with it.
void LoadCache::Drain(std::size_t lower, ReleaseOne release) noexcept {
    if (draining_) return;
    draining_ = true;
    Wait(true);
    do {
        again_ = false;
        Entry* next = oldest_;
        for (std::size_t left = count_; left > 0 && count_ > lower; --left) {
            Entry& entry = *std::exchange(next, next->newer);
            if (MayGo(entry))
                (this->*release)(entry);
            else
                Touch(entry);
        }
    } while (again_ && count_ > lower);
    draining_ = false;
    Wait(count_ > lower);
}

void LoadCache::LetGo(Entry& entry) noexcept {
    if (!waits_) return;
    again_ = true;
    if (draining_ || !MayGo(entry)) return;
    draining_ = true;
    again_ = false;
    Release(entry);
    draining_ = false;
    const auto lower = static_cast<std::size_t>(lowerBound_);
    if (count_ <= lower)
        Wait(false);
    else if (again_)
        Drain(lower, &LoadCache::Release);
}

void LoadCache::ReleaseUnheld() noexcept {
    Drain(0, &LoadCache::ReleaseObject);
    Wait(false);
}

void LoadCache::ReleaseSaved() noexcept {
    if (waits_)
        Drain(static_cast<std::size_t>(lowerBound_), &LoadCache::Release);
    else
        Evict();
}

void LoadCache::Wait(bool waits) noexcept {
    if (std::exchange(waits_, waits) != waits) Object::CacheWaits(waits);
}

// Most of the loaded objects have been looked at by an earlier save; those that were loaded since are the newest.
std::vector<Entry*> LoadCache::Assumed() const {
    std::vector<Entry*> assumed;
    assumed.reserve(assumedCount_);
    for (Entry* entry = newest_; entry && assumed.size() < assumedCount_; entry = entry->older)
        if (entry->assumed) assumed.push_back(entry);
    return assumed;
}

void LoadCache::ClearAssumed(Entry& entry) noexcept {
    if (entry.assumed && entry.object) --assumedCount_;
    entry.assumed = false;
}

}  // namespace lumvex::inside
