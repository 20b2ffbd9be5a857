#include "storage/compound/read/name_index.hpp"

#include <algorithm>
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

}  // namespace

NameIndex::Record::Record(EntryId number, const DirectoryEntry& entry, int version)
    : id(number),
      start(entry.Start()),
      size(static_cast<std::uint32_t>(std::min<std::uint64_t>(entry.Size(version), kLong)) & kLong),
      isMember(1),
      isStream(entry.Type() == EntryType::Stream) {
    const NameKey name(entry);
    key = Split(name);
    isKeyOfId = name.isId;
}

NameKey NameIndex::Record::Key() const {
    NameKey whole(std::uint64_t{key[0]} << 32 | key[1], std::uint64_t{key[2]} << 32 | key[3]);
    whole.isId = isKeyOfId;
    return whole;
}

NameIndex::NameIndex(Pages& directory, EntryId top, std::uint32_t entries, int version, std::uint32_t miniCutoff)
    : directory_(directory), version_(version) {
    records_.reserve(entries);
    AboutToFill(records_.data(), entries * sizeof(Record));
    const AllLinks links(directory, entries, [&](EntryId id, const DirectoryEntry& entry) {
        if (IsMember(entry.Type()))
            records_.emplace_back(id, entry, version);
        else
            records_.emplace_back(id);
    });
    if (!FindInOrder(links, top)) FindTopmost(top);
    SortInFileOrder(miniCutoff);
}

// The order of the directory's trees.
bool NameIndex::IsBefore(const Record& left, const Record& right) {
    return left.isKeyOfId && right.isKeyOfId
               ? left.key < right.key
               : FoldedName(EntryAt(directory_, left.id)).Compare(EntryAt(directory_, right.id)) < 0;
}

// False where names do not ascend, and one may be there twice.
bool NameIndex::FindInOrder(const AllLinks& links, EntryId top) {
    const Record* before = nullptr;
    bool ascend = true;
    VisitInOrder([&](EntryId id) { return links.At(id); }, top, static_cast<std::uint32_t>(records_.size()),
                 [&](EntryId id, const Links&) {
                     Record& record = records_[id];
                     if (!record.isMember) return;
                     if (before != nullptr) ascend = ascend && IsBefore(*before, record);
                     record.isFound = 1;
                     before = &record;
                 });
    return ascend;
}

void NameIndex::FindTopmost(EntryId top) {
    Entries entries(directory_);
    for (Record& record : records_) record.isFound = 0;
    byKey_.Reserve(records_.size());
    const auto limit = static_cast<std::uint32_t>(records_.size());
    VisitLevelByLevel(entries, top, limit, [&](EntryId id, const DirectoryEntry& entry) {
        Record& record = records_[id];
        if (!record.isMember) return;
        const auto isSame = [&](std::uint32_t place) {
            return records_[place].Key() == record.Key() &&
                   (record.isKeyOfId || FoldedName(entry).Compare(entries.At(records_[place].id)) == 0);
        };
        const std::uint32_t hash = HashOf(record.Key());
        if (byKey_.Find(hash, isSame) != HashIndex::kNone) return;  // hidden behind the other entry of this name
        byKey_.Add(hash, id);
        record.isFound = 1;
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
        if (!record.isFound) continue;
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
