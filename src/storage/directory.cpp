#include "storage/directory.hpp"

#include <algorithm>
#include <cstring>
#include <set>
#include <utility>

#include "core/rollback.hpp"

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

// Room for so many more elements, so that adding them cannot fail.
template <class T>
void MakeRoom(std::vector<T>& vector, std::size_t more) {
    const std::size_t needed = vector.size() + more;
    if (vector.capacity() < needed) vector.reserve(std::max(needed, 2 * vector.capacity()));
}

bool IsEntered(const Ref<Entry>& entry) { return entry->document != nullptr; }

constexpr std::size_t kLocksAt = 16;

}  // namespace

// ---- finding and entering -------------------------------------------------------------------------------------------

Entry* Directory::FindKnown(const GUID& id) const {
    return entries_.Find(id);
}

Entry* Directory::Find(const GUID& id) {
    if (Entry* known = FindKnown(id)) return known;
    if (removedEntries_.contains(id)) return nullptr;
    const auto record = table_.Find(id);
    if (!record) return nullptr;
    const GUID classId = ValueAt<GUID>(*record, kClassAt);
    Entry& entry = Make(id, FindClass(classId));
    entry.classId = classId;
    entry.second = ValueAt<GUID>(*record, kSecondAt);
    entry.tag = ValueAt<std::uint32_t>(*record, kTagAt);
    entry.stored = entry.listed = true;
    return &entry;
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

Entry& Directory::Known(const Reference& reference, const ClassInfo& classInfo) {
    if (Entry* known = FindKnown(reference.id)) return *known;
    Entry& entry = Make(reference.id, &classInfo);
    entry.tag = reference.tag;
    entry.stored = entry.listed = true;
    return entry;
}

Entry& Directory::Make(const GUID& id, const ClassInfo* classInfo) {
    Ref<Entry> entry(new Entry(id, classInfo));
    entry->document = &owner_;
    entry->order = nextOrder_++;
    if (const auto locks = locks_.Find(id)) entry->locks = entry->storedLocks = ValueAt<LONG>(*locks, kLocksAt);
    // Closing the file puts every entry into these lists.
    MakeRoom(added_, entries_.Count() + 1);
    MakeRoom(changed_, entries_.Count() + 1);
    entries_.Add(entry);
    return *entry;
}

Entry& Directory::Add(const GUID& id, const ClassInfo& classInfo, Entry* parent) {
    added_.emplace_back();
    Rollback takeOut([&] { added_.pop_back(); });
    Entry& entry = Make(id, &classInfo);
    entry.parent = Ref<Entry>(parent);
    added_.back() = Ref<Entry>(&entry);
    takeOut.Done();
    return entry;
}

void Directory::Erase(Entry& entry) {
    if (entry.stored) MakeRoom(removedStreams_, 1);
    if (entry.storedLocks != 0) MakeRoom(removedLocks_, 1);
    if (entry.listed) removedEntries_.insert(entry.id);
    const Ref<Entry> kept(&entry);
    const Ref<Object> object = std::exchange(entry.object, nullptr);  // released last
    if (object) Unlink(entry);
    if (entry.stored) removedStreams_.push_back(entry.id);
    if (entry.storedLocks != 0) removedLocks_.push_back(entry.id);
    entries_.Take(entry.id);
    entry.document = nullptr;  // the lists of what is added and changed pass over it from now on
    entry.parent = nullptr;
}

void Directory::List(Entry& entry) {
    if (std::exchange(entry.listed, false)) added_.push_back(Ref<Entry>(&entry));
}

void Directory::Rekey(Entry& entry, const GUID& id) {
    if (IsEqualGUID(entry.id, id)) return;
    Ref<Entry> own = entries_.Take(entry.id);
    entries_.Take(id);
    entry.id = id;
    entries_.Add(std::move(own));
}

void Directory::Clear(Entry* keptRoot) noexcept {
    Ref<Entry> root = keptRoot ? entries_.Take(keptRoot->id) : nullptr;
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
    if (root) {
        keptRoot->listed = false;
        entries_.Add(std::move(root));  // there is room for it where it was
        added_.push_back(Ref<Entry>(keptRoot));
    }
    newest_ = nullptr;
    loadedCount_ = 0;
    // Nothing refers to the directory any more. In the order of use objects mostly go as they lie in memory.
    for (Entry* next = std::exchange(oldest_, nullptr); next;) {
        Entry& entry = *std::exchange(next, next->newer);
        entry.newer = entry.older = nullptr;
        const Ref<Object> object = std::exchange(entry.object, nullptr);
    }
}

// ---- the load cache -------------------------------------------------------------------------------------------------

void Directory::Loaded(Entry& entry, Ref<Object> object) {
    MakeRoom(changed_, loadedCount_ + 1);
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
}

void Directory::Unlink(Entry& entry) noexcept {
    (entry.older ? entry.older->newer : oldest_) = entry.newer;
    (entry.newer ? entry.newer->older : newest_) = entry.older;
    entry.newer = entry.older = nullptr;
    --loadedCount_;
}

void Directory::Touch(Entry& entry) noexcept {
    if (newest_ == &entry) return;
    Unlink(entry);
    Link(entry);
}

// New bounds look at everything again, whatever an earlier eviction could not release.
void Directory::SetBounds(LONG lower, LONG upper) noexcept {
    lowerBound = lower;
    upperBound = upper;
    evictAbove_ = 0;
    Evict();
}

void Directory::Evict() noexcept {
    const auto upper = static_cast<std::size_t>(upperBound);
    if (loadedCount_ <= std::max(upper, evictAbove_)) return;
    for (Entry* next = oldest_; next && loadedCount_ > static_cast<std::size_t>(lowerBound);) {
        Entry& entry = *std::exchange(next, next->newer);
        if (entry.changed || !entry.stored || !entry.object->HeldByDirectoryOnly()) continue;
        Unlink(entry);
        entry.object = nullptr;
        if (entry.HeldOnce() && entry.listed && entry.locks == entry.storedLocks) entries_.Take(GUID(entry.id));
    }
    evictAbove_ = loadedCount_ > upper ? loadedCount_ + loadedCount_ / 4 : 0;
}

// ---- saving ---------------------------------------------------------------------------------------------------------

void Directory::MarkChanged(Entry& entry) {
    if (entry.changed) return;
    changed_.push_back(Ref<Entry>(&entry));
    entry.changed = true;
}

std::vector<Ref<Entry>> Directory::ChangedEntries() const {
    std::vector<Ref<Entry>> changed;
    std::ranges::copy_if(changed_, std::back_inserter(changed), IsEntered);
    return changed;
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
    for (const Ref<Entry>& entry : added_) entry->listed = true;
    std::erase_if(changed_, [](const Ref<Entry>& entry) { return !entry->changed || !IsEntered(entry); });
    added_.clear();
    removedEntries_.clear();
    removedStreams_.clear();
    removedLocks_.clear();
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
        return entry->listed = table_.Find(entry->id).has_value();
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
        if (!entry->object && entry->listed && entry->classInfo != &root) {
            entries_.Take(entry->id);
            entry->document = nullptr;
            continue;
        }
        entry->stored = entry->listed = false;
        entry->storedLocks = 0;
        entry->changed = entry->object != nullptr;
        if (entry->changed) changed_.push_back(entry);
        added_.push_back(entry);
        ++at;
    }
    std::ranges::sort(changed_, {}, [](const Ref<Entry>& entry) { return entry->order; });
    removedEntries_.clear();
    removedStreams_.clear();
    removedLocks_.clear();
    table_.Close();
    locks_.Close();
}

}  // namespace lumvex::inside
