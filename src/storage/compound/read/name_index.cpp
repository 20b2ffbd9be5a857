#include "storage/compound/read/name_index.hpp"

#include <algorithm>
#include <optional>
#include <utility>

#include "generic/fresh_memory.hpp"

namespace lumvex::compound {

namespace {

std::uint32_t HashOf(const NameKey& key) {
    std::uint64_t hash = (key.first ^ 0x9E3779B97F4A7C15u) * 0xFF51AFD7ED558CCDu;
    hash = ((hash ^ hash >> 32) ^ key.second) * 0xFF51AFD7ED558CCDu;
    return static_cast<std::uint32_t>(hash >> 32);
}

std::array<std::uint32_t, 4> Split(const NameKey& key) {
    return {static_cast<std::uint32_t>(key.first >> 32), static_cast<std::uint32_t>(key.first),
            static_cast<std::uint32_t>(key.second >> 32), static_cast<std::uint32_t>(key.second)};
}

bool IsBefore(const NameKey& left, const NameKey& right) {
    return left.first != right.first ? left.first < right.first : left.second < right.second;
}

}  // namespace

NameIndex::Record::Record(EntryId number, const DirectoryEntry& entry, const NameKey& nameKey, int version)
    : key(Split(nameKey)),
      id(number),
      start(entry.Start()),
      size(static_cast<std::uint32_t>(std::min<std::uint64_t>(entry.Size(version), kLong)) & kLong),
      isStream(entry.Type() == EntryType::Stream),
      isKeyOfId(nameKey.isId) {}

NameKey NameIndex::Record::Key() const {
    NameKey whole(std::uint64_t{key[0]} << 32 | key[1], std::uint64_t{key[2]} << 32 | key[3]);
    whole.isId = isKeyOfId;
    return whole;
}

NameIndex::NameIndex(Pages& directory, EntryId top, std::uint32_t limit, int version, std::uint32_t miniCutoff)
    : directory_(directory), version_(version) {
    if (!CollectInOrder(top, limit)) CollectTopmost(top, limit);
    SortInFileOrder(miniCutoff);
}

// False where names do not ascend, and one may be there twice.
bool NameIndex::CollectInOrder(EntryId top, std::uint32_t limit) {
    Entries entries(directory_);
    records_.reserve(limit);
    AboutToFill(records_.data(), limit * sizeof(Record));
    bool ascend = true;
    std::optional<DirectoryEntry> before;
    NameKey keyBefore(0, 0);
    VisitInOrder([&](EntryId id) { return entries.At(id); }, top, limit,
                 [&](EntryId id, const DirectoryEntry& entry) {
                     if (!IsMember(entry.Type())) return;
                     const NameKey key(entry);
                     if (before)
                         ascend = ascend && (key.isId && keyBefore.isId ? IsBefore(keyBefore, key)
                                                                        : FoldedName(*before).Compare(entry) < 0);
                     records_.emplace_back(id, entry, key, version_);
                     before = entry;
                     keyBefore.first = key.first;  // one by one, as in VisitInOrder
                     keyBefore.second = key.second;
                     keyBefore.isId = key.isId;
                 });
    return ascend;
}

void NameIndex::CollectTopmost(EntryId top, std::uint32_t limit) {
    Entries entries(directory_);
    records_.clear();
    byKey_.Reserve(limit);
    VisitLevelByLevel(entries, top, limit, [&](EntryId id, const DirectoryEntry& entry) {
        if (!IsMember(entry.Type())) return;
        const NameKey key(entry);
        const auto isSame = [&](std::uint32_t place) {
            const Record& other = records_[place];
            return other.Key() == key && (key.isId || FoldedName(entry).Compare(entries.At(other.id)) == 0);
        };
        if (byKey_.Find(HashOf(key), isSame) != HashIndex::kNone) return;  // hidden behind the other entry of this name
        byKey_.Add(HashOf(key), static_cast<std::uint32_t>(records_.size()));
        records_.emplace_back(id, entry, key, version_);
    });
    byKey_ = {};
}

// Streams in the mini stream, other streams, folders.
void NameIndex::SortInFileOrder(std::uint32_t miniCutoff) {
    FileOrder small, large;
    small.Reserve(records_.size());
    std::vector<std::uint32_t> folders;
    for (std::uint32_t place = 0; place < records_.size(); ++place) {
        const Record& record = records_[place];
        if (!record.isStream)
            folders.push_back(place);
        else
            (record.size < miniCutoff ? small : large).Add(record.start, place);
    }
    std::vector<Record> sorted;
    sorted.reserve(records_.size());
    AboutToFill(sorted.data(), records_.size() * sizeof(Record));
    for (FileOrder* streams : {&small, &large}) {
        streams->Sort();
        for (std::size_t at = 0; at < streams->Count(); ++at) sorted.push_back(records_[(*streams)[at]]);
    }
    for (const std::uint32_t place : folders) sorted.push_back(records_[place]);
    records_ = std::move(sorted);
}

void NameIndex::HashAll() {
    byKey_.Reserve(records_.size());
    for (std::uint32_t place = 0; place < records_.size(); ++place) byKey_.Add(HashOf(records_[place].Key()), place);
}

bool NameIndex::HasName(const Record& record, const EntryName& name) {
    return record.Key() == name.Key() &&
           (record.isKeyOfId || name.Folded().Compare(EntryAt(directory_, record.id)) == 0);
}

FoundEntry NameIndex::Find(const EntryName& name) {
    if (expected_ >= records_.size() || !HasName(records_[expected_], name)) {
        if (byKey_.Empty()) HashAll();
        const std::uint32_t place =
            byKey_.Find(HashOf(name.Key()), [&](std::uint32_t each) { return HasName(records_[each], name); });
        if (place == HashIndex::kNone) return {};
        expected_ = place;
    }
    const Record& record = records_[expected_++];
    if (record.size == kLong) return {record.id, EntryAt(directory_, record.id), version_};
    FoundEntry found;
    found.id = record.id;
    found.isStream = record.isStream;
    found.start = record.start;
    found.size = record.size;
    return found;
}

void NameIndex::Expect(EntryId entry) {
    const auto record = std::ranges::find(records_, entry, &Record::id);
    if (record != records_.end()) expected_ = static_cast<std::size_t>(record - records_.begin());
}

}  // namespace lumvex::compound
