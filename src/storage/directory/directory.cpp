#include "storage/directory/directory.hpp"

#include <algorithm>
#include <set>
#include <utility>

namespace lumvex::inside {

// ---- finding --------------------------------------------------------------------------------------------------------

// Makes room, so that marking the entry and adding it to the next table cannot fail later.
[[gnu::always_inline]] inline Ref<Entry> Directory::Make(const GUID& id, const ClassInfo* classInfo) {
    Ref<Entry> entry(new Entry(id, classInfo));
    entry->document = &owner_;
    entry->order = nextOrder_++;
    if (locks_.Count() != 0)
        if (const auto row = locks_.Find(id)) entry->locks = entry->storedLocks = row->locks;
    changes_.MakeRoomFor(entries_.Count() + 1);
    return entry;
}

Entry* Directory::FindInMemory(const GUID& id) const { return entries_.Find(id); }

Ref<Entry> Directory::Find(const GUID& id) {
    if (Entry* found = FindInMemory(id)) return Ref<Entry>(found);
    if (changes_.IsRemoved(id)) return nullptr;
    const auto row = table_.Find(id);
    if (!row) return nullptr;
    Ref<Entry> entry = Make(id, FindClass(row->classId));
    entries_.Add(entry);
    entry->CarrySecond(row->second);
    entry->tag = row->tag;
    entry->stored = entry->listed = true;
    return entry;
}

Entry& Directory::FindReferred(const Reference& reference, const ClassInfo& classInfo) {
    // A client that has asked for an eighth of the file's objects will probably ask for most of them. Room for all at
    // once spares the table from growing, and being copied, three times more.
    if (entries_.Count() == CountInFile() / 8) entries_.Reserve(CountInFile());
    return entries_.FindOrAdd(reference.id, [&] {
        Ref<Entry> entry = Make(reference.id, &classInfo);
        entry->tag = reference.tag;
        entry->stored = entry->listed = entry->assumed = true;
        entry->rowRead = false;
        return entry;
    });
}

std::vector<GUID> Directory::IdsOf(bool (*accepts)(const ClassInfo&)) const {
    std::set<GUID, GuidLess> ids;
    table_.ForEach([&](const DirectoryRow& row) {
        const ClassInfo* info = FindClass(row.classId);
        if (info && accepts(*info) && !changes_.IsRemoved(row.id)) ids.insert(row.id);
    });
    for (std::size_t at = 0; at < entries_.Count(); ++at) {
        const Entry& entry = entries_.At(at);
        if (entry.classInfo && accepts(*entry.classInfo)) ids.insert(entry.id);
    }
    return {ids.begin(), ids.end()};
}

std::vector<Ref<Entry>> Directory::LoadedEntries() const {
    std::vector<Ref<Entry>> loaded;
    loaded.reserve(cache_.Count());
    for (std::size_t at = 0; loaded.size() < cache_.Count(); ++at)
        if (entries_.At(at).object) loaded.push_back(Ref<Entry>(&entries_.At(at)));
    const auto orderOf = [](const Ref<Entry>& entry) { return entry->order; };
    if (!std::ranges::is_sorted(loaded, {}, orderOf)) std::ranges::sort(loaded, {}, orderOf);
    return loaded;
}

// ---- entering and leaving -------------------------------------------------------------------------------------------

Entry& Directory::Add(const GUID& id, const ClassInfo& classInfo, Entry* parent) {
    const Ref<Entry> entry = Make(id, &classInfo);
    entries_.Add(entry);
    entry->parent = Ref<Entry>(parent);
    changes_.Join(*entry);
    return *entry;
}

void Directory::PrepareToErase(std::span<const Ref<Entry>> entries) { changes_.PrepareToErase(entries); }

void Directory::Erase(std::span<const Ref<Entry>> entries) noexcept {
    ++departures_;
    for (const Ref<Entry>& entry : entries) {
        const Ref<Object> object = entry->object ? cache_.Take(*entry) : nullptr;  // released last
        changes_.Erase(*entry);
        entries_.Take(entry->id);
        entry->document = nullptr;
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
    ++departures_;
    entries_.TakeAll([](Entry& entry) {  // those of loaded objects live on with them
        entry.document = nullptr;
        entry.parent = nullptr;
    });
    changes_.Clear();
    table_.Close();
    locks_.Close();
    cache_.Clear();
}

void Directory::Swap(Directory& other) noexcept {
    std::swap(entries_, other.entries_);
    std::swap(table_, other.table_);
    std::swap(locks_, other.locks_);
    std::swap(changes_, other.changes_);
    std::swap(nextOrder_, other.nextOrder_);
    departures_ = other.departures_ = std::max(departures_, other.departures_) + 1;
    for (Directory* directory : {this, &other})
        for (std::size_t at = 0; at < directory->entries_.Count(); ++at)
            directory->entries_.At(at).document = &directory->owner_;
    cache_.Swap(other.cache_);
}

// ---- loaded objects -------------------------------------------------------------------------------------------------

void Directory::Unload(Entry& entry) noexcept {
    const Ref<Object> object = cache_.Take(entry);
    changes_.Unmark(entry);
}

// ---- saving ---------------------------------------------------------------------------------------------------------

void Directory::EnsureListed(Entry& entry) {
    if (entry.assumed) {
        entry.listed = table_.Find(entry.id).has_value();
        cache_.ClearAssumed(entry);
    }
    if (!entry.listed) changes_.Join(entry);
}

void Directory::LookUpAssumed() {
    std::vector<Entry*> assumed = cache_.Assumed();
    std::ranges::sort(assumed, GuidLess(), [](const Entry* entry) { return entry->id; });
    std::vector<GUID> ids;
    ids.reserve(assumed.size());
    for (const Entry* entry : assumed) ids.push_back(entry->id);
    const std::vector<bool> listed = table_.Contains(ids);
    for (std::size_t at = 0; at < assumed.size(); ++at) {
        cache_.ClearAssumed(*assumed[at]);
        assumed[at]->listed = listed[at];
        if (!listed[at]) changes_.Join(*assumed[at]);
    }
}

void Directory::Saved(std::span<const Ref<Entry>> written, NextTables&& tables) noexcept {
    if (tables.table) table_ = *std::move(tables.table);
    if (tables.locks) locks_ = *std::move(tables.locks);
    for (const Ref<Entry>& entry : written) {
        entry->ExpectNeighbours();
        entry->stored = true;
        entry->changed = false;
        entry->storedLocks = entry->locks;
    }
    changes_.Saved();
    cache_.ReleaseSaved();
}

// ---- the tables in the file -----------------------------------------------------------------------------------------

void Directory::Open(std::shared_ptr<const ByteSource> table, std::shared_ptr<const ByteSource> locks) {
    table_.Close();
    locks_.Close();
    if (table) table_.Open(std::move(table));
    if (locks) locks_.Open(std::move(locks));
    changes_.LeaveOutListed(table_);
}

void Directory::ReadFromTable() {
    std::vector<Entry*> missing;
    for (Entry* entry = cache_.Oldest(); entry; entry = entry->newer) {
        entry->ExpectNeighbours();
        if (!entry->rowRead) missing.push_back(entry);
    }
    if (table_.IsFasterReadWhole(missing.size())) {
        table_.ForEach([&](const DirectoryRow& row) {
            if (IsEqualGUID(row.second, GUID_NULL)) return;
            Entry* entry = FindInMemory(row.id);
            if (entry && !entry->rowRead) entry->CarrySecond(row.second);
        });
    } else {
        for (Entry* entry : missing)
            if (const auto row = table_.Find(entry->id)) entry->CarrySecond(row->second);
    }
    for (Entry* entry : missing) entry->rowRead = true;
}

void Directory::CloseFile() noexcept {
    const ClassInfo& root = owner_.RootObject().Class();
    ++departures_;
    changes_.Clear();
    entries_.TakeIf([&](Entry& entry) {
        entry.ExpectNeighbours();
        if (!entry.object && entry.classInfo != &root) {
            entry.document = nullptr;
            return true;
        }
        StayWithoutFile(entry);
        return false;
    });
    table_.Close();
    locks_.Close();
}

// A function of its own: most entries go with the file.
[[gnu::noinline]] void Directory::StayWithoutFile(Entry& entry) noexcept {
    cache_.ClearAssumed(entry);
    entry.stored = entry.listed = entry.joins = entry.changed = entry.stays = false;
    entry.storedLocks = 0;
    changes_.Join(entry);
    if (entry.object) changes_.Mark(entry);
}

}  // namespace lumvex::inside
