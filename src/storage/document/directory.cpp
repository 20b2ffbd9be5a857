#include "storage/document/directory.hpp"

#include <algorithm>
#include <cstring>
#include <set>
#include <utility>

#include "core/base/make_room.hpp"

namespace lumvex::inside {

namespace {

template <class T>
void Append(std::vector<std::byte>& records, const T& value) {
    const auto bytes = std::as_bytes(std::span(&value, 1));
    records.insert(records.end(), bytes.begin(), bytes.end());
}

template <class T>
T ValueAt(const SortedRecords::Record& record, std::size_t offset) {
    T value;
    std::memcpy(&value, record.data() + offset, sizeof value);
    return value;
}

bool IsEntered(const Ref<Entry>& entry) { return entry->document != nullptr; }

constexpr std::size_t kLocksAt = 16;

}  // namespace

// ---- finding and entering -------------------------------------------------------------------------------------------

Entry* Directory::FindKnown(const GUID& id) const {
    return entries_.Find(id);
}

Ref<Entry> Directory::Find(const GUID& id) {
    if (Entry* known = FindKnown(id)) return Ref<Entry>(known);
    if (removedEntries_.contains(id)) return nullptr;
    const auto record = table_.Find(id);
    if (!record) return nullptr;
    const GUID classId = ValueAt<GUID>(*record, kClassAt);
    Ref<Entry> entry = Make(id, FindClass(classId));
    entry->classId = classId;
    entry->second = ValueAt<GUID>(*record, kSecondAt);
    entry->tag = ValueAt<std::uint32_t>(*record, kTagAt);
    entry->stored = entry->listed = true;
    return entry;
}

std::vector<GUID> Directory::IdsOf(bool (*accepts)(const ClassInfo&)) const {
    std::set<GUID, GuidLess> ids;
    for (std::size_t at = 0; at < table_.Count(); ++at) {
        const SortedRecords::Record record = table_.At(at);
        const ClassInfo* info = FindClass(ValueAt<GUID>(record, kClassAt));
        const GUID id = ValueAt<GUID>(record, 0);
        if (info && accepts(*info) && !removedEntries_.contains(id)) ids.insert(id);
    }
    for (std::size_t at = 0; at < entries_.Count(); ++at) {
        const Entry& entry = entries_.At(at);
        if (entry.classInfo && accepts(*entry.classInfo)) ids.insert(entry.id);
    }
    return {ids.begin(), ids.end()};
}

Ref<Entry> Directory::Known(const Reference& reference, const ClassInfo& classInfo) {
    if (Entry* known = FindKnown(reference.id)) return Ref<Entry>(known);
    Ref<Entry> entry = Make(reference.id, &classInfo);
    entry->tag = reference.tag;
    entry->stored = entry->listed = entry->assumed = true;
    return entry;
}

void Directory::List(Entry& entry) {
    if (entry.assumed) {
        entry.listed = table_.Find(entry.id).has_value();
        entry.assumed = false;
        if (entry.object) --assumedCount_;
    }
    if (!entry.listed) Join(entry);
}

void Directory::Join(Entry& entry) noexcept {
    if (!std::exchange(entry.joins, true)) added_.emplace_back(&entry);
}

// Makes room in the lists that every entry may have to join without fail.
Ref<Entry> Directory::Make(const GUID& id, const ClassInfo* classInfo) {
    Ref<Entry> entry(new Entry(id, classInfo));
    entry->document = &owner_;
    entry->order = nextOrder_++;
    if (const auto locks = locks_.Find(id)) entry->locks = entry->storedLocks = ValueAt<LONG>(*locks, kLocksAt);
    MakeRoom(added_, entries_.Count() + 1);
    MakeRoom(changed_, entries_.Count() + 1);
    entries_.Add(entry);
    return entry;
}

Entry& Directory::Add(const GUID& id, const ClassInfo& classInfo, Entry* parent) {
    const Ref<Entry> entry = Make(id, &classInfo);
    entry->parent = Ref<Entry>(parent);
    Join(*entry);
    return *entry;
}

void Directory::PrepareToErase(std::span<const Ref<Entry>> entries) {
    const auto count = [&](auto test) { return static_cast<std::size_t>(std::ranges::count_if(entries, test)); };
    MakeRoom(removedStreams_, count([](const Ref<Entry>& entry) { return entry->stored; }));
    MakeRoom(removedLocks_, count([](const Ref<Entry>& entry) { return entry->storedLocks != 0; }));
    // The set is the one thing here that needs memory for each element.
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

void Directory::Erase(std::span<const Ref<Entry>> entries) noexcept {
    for (const Ref<Entry>& entry : entries) {
        const Ref<Object> object = std::exchange(entry->object, nullptr);  // released last
        if (object) Unlink(*entry);
        if (entry->stored) removedStreams_.push_back(entry->id);
        if (entry->storedLocks != 0) removedLocks_.push_back(entry->id);
        entries_.Take(entry->id);
        entry->document = nullptr;  // the lists of what is added and changed pass over it from now on
        entry->parent = nullptr;
    }
}

void Directory::Rekey(Entry& entry, const GUID& id) {
    if (IsEqualGUID(entry.id, id)) return;
    Ref<Entry> own = entries_.Take(entry.id);
    entries_.Take(id);
    entry.id = id;
    entries_.Add(std::move(own));
}

void Directory::Clear() noexcept {
    for (std::size_t at = 0; at < entries_.Count(); ++at) {
        entries_.At(at).document = nullptr;
        entries_.At(at).parent = nullptr;
    }
    entries_.Clear();  // the loaded ones live on with their objects
    changed_.clear();
    added_.clear();
    removedEntries_.clear();
    removedStreams_.clear();
    removedLocks_.clear();
    table_.Close();
    locks_.Close();
    Wait(false);
    newest_ = nullptr;
    loadedCount_ = assumedCount_ = 0;
    // Nothing refers to the directory any more. In the order of use objects mostly go as they lie in memory.
    for (Entry* next = std::exchange(oldest_, nullptr); next;) {
        Entry& entry = *std::exchange(next, next->newer);
        entry.newer = entry.older = nullptr;
        const Ref<Object> object = std::exchange(entry.object, nullptr);
    }
}

void Directory::Swap(Directory& other) noexcept {
    std::swap(entries_, other.entries_);
    std::swap(table_, other.table_);
    std::swap(locks_, other.locks_);
    changed_.swap(other.changed_);
    added_.swap(other.added_);
    removedEntries_.swap(other.removedEntries_);
    removedStreams_.swap(other.removedStreams_);
    removedLocks_.swap(other.removedLocks_);
    std::swap(newest_, other.newest_);
    std::swap(oldest_, other.oldest_);
    std::swap(loadedCount_, other.loadedCount_);
    std::swap(assumedCount_, other.assumedCount_);
    std::swap(nextOrder_, other.nextOrder_);
    for (Directory* directory : {this, &other}) {
        for (std::size_t at = 0; at < directory->entries_.Count(); ++at)
            directory->entries_.At(at).document = &directory->owner_;
        directory->Wait(false);
        directory->Evict();
    }
}

// ---- the load cache -------------------------------------------------------------------------------------------------

void Directory::PrepareToLoad() { MakeRoom(changed_, loadedCount_ + 1); }

void Directory::Loaded(Entry& entry, Ref<Object> object) noexcept {
    entry.object = std::move(object);
    Link(entry);
    Evict();
}

void Directory::Unload(Entry& entry) noexcept {
    Unlink(entry);
    if (std::exchange(entry.changed, false)) std::erase(changed_, Ref<Entry>(&entry));
    entry.object = nullptr;
}

void Directory::Link(Entry& entry) noexcept {
    entry.older = newest_;
    entry.newer = nullptr;
    (newest_ ? newest_->newer : oldest_) = &entry;
    newest_ = &entry;
    ++loadedCount_;
    if (entry.assumed) ++assumedCount_;
}

void Directory::Unlink(Entry& entry) noexcept {
    (entry.older ? entry.older->newer : oldest_) = entry.newer;
    (entry.newer ? entry.newer->older : newest_) = entry.older;
    entry.newer = entry.older = nullptr;
    --loadedCount_;
    if (entry.assumed) --assumedCount_;
}

void Directory::Touch(Entry& entry) noexcept {
    if (newest_ == &entry) return;
    Unlink(entry);
    Link(entry);
}

void Directory::SetBounds(LONG lower, LONG upper) noexcept {
    lowerBound = lower;
    upperBound = upper;
    Wait(false);
    Evict();
}

bool Directory::MayGo(const Entry& entry) const noexcept {
    return !entry.changed && entry.stored && entry.object->HeldByDirectoryOnly();
}

void Directory::Release(Entry& entry) noexcept {
    const Ref<Entry> kept(&entry);
    Unlink(entry);
    entry.object = nullptr;
    constexpr unsigned kOurs = 2;  // the table's reference and the one above
    if (entry.Holders() == kOurs && entry.listed && entry.locks == entry.storedLocks) entries_.Take(GUID(entry.id));
}

// While it waits there is nothing that may go but what LetGo() or Saved() tell of: a load need not look for it.
void Directory::Evict() noexcept {
    if (!waits_ && loadedCount_ > static_cast<std::size_t>(upperBound)) Drain(static_cast<std::size_t>(lowerBound));
}

// What may not go becomes the most recently used, so that the next time does not begin with it.
void Directory::Drain(std::size_t lower) noexcept {
    if (draining_) return;
    draining_ = true;
    Wait(true);
    do {
        again_ = false;
        Entry* next = oldest_;
        for (std::size_t left = loadedCount_; left > 0 && loadedCount_ > lower; --left) {
            Entry& entry = *std::exchange(next, next->newer);
            if (MayGo(entry))
                Release(entry);
            else
                Touch(entry);
        }
    } while (again_ && loadedCount_ > lower);
    draining_ = false;
    Wait(loadedCount_ > lower);
}

void Directory::LetGo(Entry& entry) noexcept {
    if (!waits_) return;
    again_ = true;
    if (draining_ || !MayGo(entry)) return;
    draining_ = true;
    again_ = false;
    Release(entry);
    draining_ = false;
    const auto lower = static_cast<std::size_t>(lowerBound);
    if (loadedCount_ <= lower)
        Wait(false);
    else if (again_)
        Drain(lower);
}

void Directory::ReleaseUnheld() noexcept {
    Drain(0);
    Wait(false);
}

void Directory::Wait(bool waits) noexcept {
    if (std::exchange(waits_, waits) != waits) Object::CacheWaits(waits);
}

// ---- saving ---------------------------------------------------------------------------------------------------------

void Directory::MarkChanged(Entry& entry) noexcept {
    if (entry.changed) return;
    changed_.push_back(Ref<Entry>(&entry));
    entry.changed = true;
}

std::vector<Ref<Entry>> Directory::ChangedEntries() const {
    std::vector<Ref<Entry>> changed;
    std::ranges::copy_if(changed_, std::back_inserter(changed), IsEntered);
    return changed;
}

// What was loaded last is looked at first: behind it is what an earlier save has looked at.
void Directory::ListWhatWasAssumed() {
    std::vector<GUID> ids;
    ids.reserve(assumedCount_);
    for (Entry* entry = newest_; entry && ids.size() < assumedCount_; entry = entry->older)
        if (entry->assumed) ids.push_back(entry->id);
    std::ranges::sort(ids, GuidLess());
    const std::vector<bool> listed = table_.Contains(ids);
    for (std::size_t at = 0; at < ids.size(); ++at) {
        Entry& entry = *FindKnown(ids[at]);
        entry.assumed = false;
        entry.listed = listed[at];
        if (!entry.listed) Join(entry);
    }
    assumedCount_ = 0;
}

bool Directory::TableChanged() const { return !removedEntries_.empty() || std::ranges::any_of(added_, IsEntered); }

std::vector<Ref<Entry>> Directory::LoadedEntries() const {
    std::vector<Ref<Entry>> loaded;
    loaded.reserve(loadedCount_);
    for (std::size_t at = 0; at < entries_.Count(); ++at)
        if (entries_.At(at).object) loaded.push_back(Ref<Entry>(&entries_.At(at)));
    std::ranges::sort(loaded, {}, [](const Ref<Entry>& entry) { return entry->order; });
    return loaded;
}

std::vector<std::byte> Directory::Table() const {
    SortedRecords::Changes changes;
    changes.removed.assign(removedEntries_.begin(), removedEntries_.end());
    changes.put.reserve(added_.size() * kTableRecord);
    for (const Ref<Entry>& entry : added_) {
        if (!IsEntered(entry)) continue;
        Append(changes.put, entry->id);
        Append(changes.put, entry->second);
        Append(changes.put, entry->classId);
        Append(changes.put, entry->tag);
    }
    return table_.Merged(changes);
}

SortedRecords::Changes Directory::LockChanges() const {
    SortedRecords::Changes changes;
    changes.removed = removedLocks_;
    for (const Ref<Entry>& entry : changed_) {
        if (!IsEntered(entry) || entry->locks == entry->storedLocks) continue;
        if (entry->locks == 0) {
            changes.removed.push_back(entry->id);
            continue;
        }
        Append(changes.put, entry->id);
        Append(changes.put, entry->locks);
    }
    return changes;
}

std::vector<std::byte> Directory::Locks() const {
    auto table = locks_.Merged(LockChanges());
    if (table.size() <= sizeof(std::uint32_t)) table.clear();
    return table;
}

SortedRecords Directory::NextTable(std::shared_ptr<const ByteSource> source, std::span<const std::byte> content) {
    return SortedRecords(kTableRecord, std::move(source), content);
}

SortedRecords Directory::NextLocks(std::shared_ptr<const ByteSource> source, std::span<const std::byte> content) {
    return SortedRecords(kLocksRecord, std::move(source), content);
}

void Directory::Saved(const std::vector<Ref<Entry>>& written, NextTables&& tables) noexcept {
    if (tables.table) table_ = *std::move(tables.table);
    if (tables.locks) locks_ = *std::move(tables.locks);
    for (const Ref<Entry>& entry : written) {
        entry->stored = true;
        entry->changed = false;
        entry->storedLocks = entry->locks;
        if (entry->object) entry->object->SetModified(false);
    }
    for (const Ref<Entry>& entry : added_) {
        entry->listed = true;
        entry->joins = false;
    }
    std::erase_if(changed_, [](const Ref<Entry>& entry) { return !entry->changed || !IsEntered(entry); });
    added_.clear();
    removedEntries_.clear();
    removedStreams_.clear();
    removedLocks_.clear();
    if (waits_)
        Drain(static_cast<std::size_t>(lowerBound));
    else
        Evict();
}

// ---- the tables in the file -----------------------------------------------------------------------------------------

const ClassInfo* Directory::ListedClass(const std::shared_ptr<const ByteSource>& table, const GUID& id) {
    if (!table) return nullptr;
    SortedRecords records(kTableRecord);
    records.Open(table);
    const auto record = records.Find(id);
    return record ? FindClass(ValueAt<GUID>(*record, kClassAt)) : nullptr;
}

void Directory::Open(std::shared_ptr<const ByteSource> table, std::shared_ptr<const ByteSource> locks) {
    table_.Close();
    locks_.Close();
    if (table) table_.Open(std::move(table));
    if (locks) locks_.Open(std::move(locks));
    std::erase_if(added_, [&](const Ref<Entry>& entry) {
        entry->listed = table_.Find(entry->id).has_value();
        entry->joins = !entry->listed;
        return entry->listed;
    });
}

void Directory::ReadFromTable() {
    for (Entry* entry = oldest_; entry; entry = entry->newer) {
        if (!entry->listed) continue;
        if (const auto record = table_.Find(entry->id)) entry->second = ValueAt<GUID>(*record, kSecondAt);
    }
}

void Directory::CloseFile() noexcept {
    const ClassInfo& root = owner_.RootObject().Class();
    changed_.clear();
    added_.clear();
    for (std::size_t at = 0; at < entries_.Count();) {
        const Ref<Entry> entry(&entries_.At(at));
        if (!entry->object && entry->classInfo != &root) {
            entries_.Take(entry->id);
            entry->document = nullptr;
            continue;
        }
        entry->stored = entry->listed = entry->assumed = false;
        entry->joins = true;
        entry->storedLocks = 0;
        entry->changed = entry->object != nullptr;
        if (entry->changed) changed_.push_back(entry);
        added_.push_back(entry);
        ++at;
    }
    assumedCount_ = 0;
    std::ranges::sort(changed_, {}, [](const Ref<Entry>& entry) { return entry->order; });
    removedEntries_.clear();
    removedStreams_.clear();
    removedLocks_.clear();
    table_.Close();
    locks_.Close();
}

}  // namespace lumvex::inside
