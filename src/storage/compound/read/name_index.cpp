#include "storage/compound/read/name_index.hpp"

#include <algorithm>
#include <utility>

namespace lumvex::compound {

namespace {

std::uint32_t HashOf(const NameKey& key) {
    std::uint64_t hash = (key.first ^ 0x9E3779B97F4A7C15u) * 0xFF51AFD7ED558CCDu;
    hash = ((hash ^ hash >> 32) ^ key.second) * 0xFF51AFD7ED558CCDu;
    return static_cast<std::uint32_t>(hash >> 32);
}

}  // namespace

inline NameIndex::Record::Record(const DirectoryEntry& entry, int version)
    : left(entry.Left()), right(entry.Right()), isMember(IsMember(entry.Type())) {
    if (!isMember) return;
    const NameKey name(entry);
    first = name.first;
    second = name.second;
    start = entry.Start();
    size = static_cast<std::uint32_t>(std::min<std::uint64_t>(entry.Size(version), kLong)) & kLong;
    isStream = entry.Type() == EntryType::Stream;
    isKeyOfId = name.isId;
}

NameKey NameIndex::Record::Key() const {
    NameKey whole(first, second);
    whole.isId = isKeyOfId;
    return whole;
}

// The directory is read once, in its order: its tree's order would wait for each entry.
NameIndex::NameIndex(Pages& directory, EntryId top, std::uint32_t entries, int version, std::uint32_t miniCutoff)
    : directory_(directory), version_(version) {
    records_.reserve(entries);
    ForEachEntry(directory, entries,
                 [&](EntryId, const DirectoryEntry& entry) { records_.emplace_back(entry, version); });
    Members members;
    members.small.Reserve(entries);
    if (!FindInOrder(top, miniCutoff, members)) FindTopmost(top, miniCutoff, members);
    members.small.Sort();
    members.large.Sort();
    order_ = std::move(members.small);
    order_.Append(members.large);
    order_.Append(members.folders);
}

// The order of the directory's trees.
bool NameIndex::IsTextBefore(const Record& left, const Record& right) const {
    const auto entry = [this](const Record& record) {
        return EntryAt(directory_, static_cast<EntryId>(&record - records_.data()));
    };
    return FoldedName(entry(left)).Compare(entry(right)) < 0;
}

// False where names do not ascend, and one may be there twice.
bool NameIndex::FindInOrder(EntryId top, std::uint32_t miniCutoff, Members& members) const {
    const auto count = static_cast<std::uint32_t>(records_.size());
    const auto at = [&](EntryId id) {
        if (id >= count) throw Corrupt("entry ", id, " in a directory of ", count);
        return OnTheWay{&records_[id]};
    };
    const Record* before = nullptr;
    bool ascend = true;
    VisitInOrder(at, top, count, [&](EntryId id, const OnTheWay& way) {
        const Record& record = *way.record;
        if (!record.isMember) return;
        if (before != nullptr && !IsBefore(*before, record)) ascend = false;
        before = &record;
        members.Add(id, record, miniCutoff);
    });
    return ascend;
}

void NameIndex::FindTopmost(EntryId top, std::uint32_t miniCutoff, Members& members) {
    Entries entries(directory_);
    members = {};
    byKey_.Reserve(records_.size());
    const auto limit = static_cast<std::uint32_t>(records_.size());
    VisitLevelByLevel(entries, top, limit, [&](EntryId id, const DirectoryEntry& entry) {
        const Record& record = records_[id];
        if (!record.isMember) return;
        const NameKey key = record.Key();
        const auto isSame = [&](EntryId other) {
            return records_[other].HasKey(key) &&
                   (record.isKeyOfId || FoldedName(entry).Compare(entries.At(other)) == 0);
        };
        const std::uint32_t hash = HashOf(key);
        if (byKey_.Find(hash, isSame) != HashIndex::kNone) return;  // hidden behind the other entry of this name
        byKey_.Add(hash, id);
        members.Add(id, record, miniCutoff);
    });
    byKey_ = {};
}

void NameIndex::HashAll() {
    byKey_.Reserve(order_.Count());
    for (std::uint32_t place = 0; place < order_.Count(); ++place)
        byKey_.Add(HashOf(records_[order_[place]].Key()), place);
}

bool NameIndex::HasName(EntryId id, const EntryName& name) const {
    const Record& record = records_[id];
    return record.HasKey(name.Key()) && (record.isKeyOfId || name.Folded().Compare(EntryAt(directory_, id)) == 0);
}

FoundEntry NameIndex::FindAnywhere(const EntryName& name) {
    std::size_t place = expected_;
    if (place >= order_.Count() || !HasName(order_[place], name)) {
        if (byKey_.Empty()) HashAll();
        const std::uint32_t found =
            byKey_.Find(HashOf(name.Key()), [&](std::uint32_t each) { return HasName(order_[each], name); });
        if (found == HashIndex::kNone) return {};
        place = found;
    }
    FoundEntry found = FoundAt(place);
    if (found.size == kLong) found = {found.id, EntryAt(directory_, found.id), version_};
    return found;
}

void NameIndex::Expect(EntryId entry) {
    for (std::size_t place = 0; place < order_.Count(); ++place)
        if (order_[place] == entry) {
            expected_ = place;
            return;
        }
}

}  // namespace lumvex::compound
