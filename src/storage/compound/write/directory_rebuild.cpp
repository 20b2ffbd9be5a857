#include "storage/compound/write/directory_rebuild.hpp"

#include <algorithm>
#include <array>
#include <cassert>
#include <optional>
#include <unordered_map>

#include "storage/compound/base/prefetch.hpp"
#include "storage/compound/base/sort_by_bits.hpp"
#include "storage/compound/base/stable_sort.hpp"
#include "storage/compound/write/balanced_tree.hpp"
#include "storage/compound/write/carried.hpp"
#include "storage/compound/write/directory_editor.hpp"

namespace lumvex::compound {

namespace {

constexpr std::uint64_t kAhead = 16;  // entries are prefetched so many steps before they are used

// A stream or folder of the tree that is built: one that stays (no change), is replaced, or is new (no entry).
struct Member {
    std::uint64_t key = 0;  // the beginning of its name: that of an object's name, or KeyOf another one
    const std::byte* entry = nullptr;
    const Change* change = nullptr;
    EntryId id = kNoEntry;  // its place in the new directory

    bool IsCarriedFolder() const { return change != nullptr && change->kind == Change::Kind::Folder; }

    FoldedName Name() const {
        if (entry == nullptr) return change->Folded();
        return FoldedName(DirectoryEntry(entry));
    }
    std::optional<ObjectName> Object() const {
        if (entry == nullptr) return change->isObject ? std::optional(change->object) : std::nullopt;
        return ObjectNameOf(Name().Text());
    }
};

// The name's length and its first eight units, up to the first that does not fit into seven bits. Two names whose keys
// differ are in the order of their keys; so most comparisons need no more than these.
std::uint64_t KeyOf(const FoldedName& name) {
    constexpr char16_t kBeyond = 0x7F;
    const std::u16string_view text = name.Text();
    std::uint64_t key = text.size();
    bool fits = true;
    for (std::size_t i = 0; i < 8; ++i) {
        const char16_t unit = fits && i < text.size() ? std::min(text[i], kBeyond) : u'\0';
        fits = fits && unit != kBeyond;
        key = key << 7 | unit;
    }
    return key;
}

void MakeStream(DirectoryEntryWriter entry, const Change& change) {
    if (change.text)
        entry.MakeStream(*change.text);
    else
        entry.MakeStream(change.object);
}

bool IsNameBefore(const Member& a, const Member& b) { return a.Name().Compare(b.Name()) < 0; }
bool IsObjectBefore(const Member& a, const Member& b) {
    return a.key != b.key ? a.key < b.key : a.Object() < b.Object();
}

// First by the bits of the keys from firstBit on; few members are equal in these.
void SortMembers(std::vector<Member>& members, unsigned firstBit, bool (*isBefore)(const Member&, const Member&)) {
    const auto keyOf = [firstBit](const Member& member) { return member.key >> firstBit; };
    SortByBits(members, firstBit, [](const Member& member) { return member.key; });
    for (auto begin = members.begin(); begin != members.end();) {
        auto end = begin + 1;
        while (end != members.end() && keyOf(*end) == keyOf(*begin)) ++end;
        if (end - begin > 1) StableSort(begin, end, isBefore);
        begin = end;
    }
}

// Both are in order. Nearly all are objects, so that the place of each other one is searched for among them.
std::vector<Member> Merged(std::vector<Member> objects, const std::vector<Member>& others) {
    if (others.empty()) return objects;
    std::vector<Member> merged;
    merged.reserve(objects.size() + others.size());
    auto next = objects.cbegin();
    for (const Member& other : others) {
        const auto place = std::upper_bound(next, objects.cend(), other, IsNameBefore);
        merged.insert(merged.end(), next, place);
        merged.push_back(other);
        next = place;
    }
    merged.insert(merged.end(), next, objects.cend());
    return merged;
}

// One rebuild. There are two ways. Where only the root's tree uses the directory, its entries are numbered anew, so
// that a path from the top crosses few pages. Otherwise entries keep their numbers, as those of folders refer to each
// other.
class Rebuild {
public:
    Rebuild(ShadowPages& pages, Committed& committed, PendingChanges& changes, std::uint32_t seed)
        : pages_(pages),
          committed_(committed),
          changes_(changes),
          perPage_(DirectoryEntriesPerPage(pages.Shift())),
          editor_(pages, seed) {}

    void Run() {
        CollectMembers();
        SortByName();
        const BalancedTree tree(static_cast<std::uint32_t>(members_.size()));
        if (canRenumber_)
            WriteRenumbered(tree);
        else
            WriteInPlace(tree);
        if (changes_.Carried() != nullptr) PlaceFolders();
    }

private:
    void CollectMembers();
    void Collect(const Member& member);
    void SortByName();
    void CollectCommitted(const std::unordered_map<EntryId, const Change*>& changeOf);
    std::uint32_t CountAllocated();
    void WriteInPlace(const BalancedTree& tree);
    void WriteRenumbered(const BalancedTree& tree);
    void PrefetchFor(const BalancedTree& tree, std::uint64_t id) const;
    std::array<std::byte, kEntrySize> RootEntry();
    void WriteEntry(DirectoryEntryWriter entry, const BalancedTree& tree, std::uint32_t number);
    void PlaceFolders();

    EntryId IdOf(std::uint32_t number) const { return number == kNoEntry ? kNoEntry : members_[number].id; }

    ShadowPages& pages_;
    Committed& committed_;
    PendingChanges& changes_;
    PerPage perPage_;
    DirectoryEditor editor_;
    std::vector<Member> objects_, others_;  // the members until SortByName: those with names of objects, the others
    std::vector<Member> members_;           // all, in order
    std::vector<EntryId> removed_;          // entries of the committed tree
    bool canRenumber_ = true;
};

void Rebuild::CollectMembers() {
    std::unordered_map<EntryId, const Change*> changeOf;  // by the entry that is replaced or removed
    changes_.ForEach([&](const Change& change) {
        if (change.existing != kNoEntry) changeOf.emplace(change.existing, &change);
    });
    objects_.reserve(changes_.Count());
    if (!committed_.Empty()) CollectCommitted(changeOf);
    // Further allocated entries, which the root's tree does not reach, belong to folders.
    canRenumber_ = canRenumber_ && CountAllocated() <= objects_.size() + others_.size() + removed_.size() + 1;
    changes_.ForEach([&](const Change& change) {
        if (change.existing == kNoEntry) Collect({0, nullptr, &change, kNoEntry});
    });
}

void Rebuild::Collect(const Member& member) {
    const auto object = member.Object();
    Member& collected = (object ? objects_ : others_).emplace_back(member);
    collected.key = object ? object->first : KeyOf(member.Name());
}

void Rebuild::SortByName() {
    constexpr unsigned kEnoughBits = 33;  // of IDs, which are mostly random
    SortMembers(objects_, 64 - kEnoughBits, IsObjectBefore);
    SortMembers(others_, 0, IsNameBefore);
    members_ = Merged(std::move(objects_), others_);
}

void Rebuild::CollectCommitted(const std::unordered_map<EntryId, const Change*>& changeOf) {
    std::vector<bool> reached(std::size_t{pages_.Count()} * perPage_.Count());
    WalkTree(pages_, committed_.TreeTop(), committed_.EntryCount(), [&](EntryId id, const DirectoryEntry& entry) {
        if (reached[id]) throw Corrupt("the directory's tree reaches entry ", id, " twice");
        reached[id] = true;
        const auto found = changeOf.find(id);
        const Change* change = found == changeOf.end() ? nullptr : found->second;
        if (change != nullptr && change->kind == Change::Kind::Removed) {
            removed_.push_back(id);
            return;
        }
        if (entry.Type() != EntryType::Stream) canRenumber_ = false;
        Collect({0, entry.bytes(), change, id});
    });
}

std::uint32_t Rebuild::CountAllocated() {
    std::uint32_t count = 0;
    for (std::uint32_t page = 0; page < pages_.Count(); ++page) {
        const std::byte* bytes = pages_.Page(page);
        for (std::uint32_t i = 0; i < perPage_.Count(); ++i)
            if (DirectoryEntry(bytes + kEntrySize * i).Type() != EntryType::Unallocated) ++count;
    }
    return count;
}

void Rebuild::WriteInPlace(const BalancedTree& tree) {
    for (const EntryId id : removed_) editor_.Edit(id).Clear();
    for (Member& member : members_)
        if (member.id == kNoEntry) {
            member.id = editor_.TakeUnused();
            MakeStream(editor_.Edit(member.id), *member.change);  // otherwise TakeUnused would give it again
        }
    for (std::uint32_t number = 0; number < members_.size(); ++number)
        WriteEntry(editor_.Edit(members_[number].id), tree, number);
    editor_.Edit(0).SetChild(IdOf(tree.top));
}

// Page after page. The entries' sources are scattered over memory, so each is prefetched some time before it is read.
void Rebuild::WriteRenumbered(const BalancedTree& tree) {
    const auto root = RootEntry();
    const auto count = static_cast<std::uint32_t>(members_.size());
    for (std::uint32_t i = 0; i < count; ++i) members_[tree.order[i]].id = i + 1;
    pages_.CutTo(0);
    for (std::uint32_t first = 0; first <= count; first += perPage_.Count()) {
        std::byte* bytes = pages_.AppendToFill();
        for (std::uint32_t i = 0; i < perPage_.Count(); ++i) {
            const std::uint32_t id = first + i;
            PrefetchFor(tree, std::uint64_t{id} + kAhead);
            DirectoryEntryWriter entry(bytes + kEntrySize * i);
            if (id == 0)
                entry.CopyFrom(root.data());
            else if (id > count)
                entry.Clear();
            else
                WriteEntry(entry, tree, tree.order[id - 1]);
        }
    }
    editor_.Edit(0).SetChild(IdOf(tree.top));
}

// Prefetches the change behind the entry of this ID, and the member of the entry kAhead IDs later. So the member itself
// was prefetched when this was called for an ID kAhead before.
void Rebuild::PrefetchFor(const BalancedTree& tree, std::uint64_t id) const {
    const std::uint64_t count = members_.size();
    const auto memberOf = [&](std::uint64_t each) -> const Member& {
        return members_[tree.order[static_cast<std::size_t>(each - 1)]];
    };
    if (id + kAhead <= count) Prefetch(&memberOf(id + kAhead), sizeof(Member));
    if (id > count) return;
    if (const Change* change = memberOf(id).change) Prefetch(change, sizeof *change);
}

std::array<std::byte, kEntrySize> Rebuild::RootEntry() {
    std::array<std::byte, kEntrySize> root;
    if (!committed_.Empty()) {
        std::copy_n(committed_.At(0).bytes(), kEntrySize, root.begin());
        return root;
    }
    DirectoryEntryWriter(root.data()).MakeRoot();
    if (changes_.Carried() != nullptr) DirectoryEntryWriter(root.data()).SetFactsOf(changes_.Carried()->root.data());
    return root;
}

void Rebuild::WriteEntry(DirectoryEntryWriter entry, const BalancedTree& tree, std::uint32_t number) {
    const Member& member = members_[number];
    if (member.IsCarriedFolder())
        entry.CopyFrom(changes_.Carried()->members[static_cast<std::size_t>(member.change->size)].entry.data());
    else if (member.entry == nullptr)
        MakeStream(entry, *member.change);
    else if (canRenumber_)
        entry.CopyFrom(member.entry);
    entry.SetLeft(IdOf(tree.nodes[number].left));
    entry.SetRight(IdOf(tree.nodes[number].right));
    entry.SetColour(tree.nodes[number].colour);
    if (member.IsCarriedFolder())
        entry.SetContent(0, 0);
    else if (member.change != nullptr)
        entry.SetContent(member.change->start, member.change->size);
}

void Rebuild::PlaceFolders() {
    assert(canRenumber_);  // folders are carried into new files only, whose directory is empty
    std::vector<EntryId> folders(changes_.Carried()->rootFolders);
    for (const Member& member : members_)
        if (member.IsCarriedFolder()) folders[static_cast<std::size_t>(member.change->size)] = member.id;
    PlaceCarried(editor_, *changes_.Carried(), std::move(folders));
}

}  // namespace

void RebuildDirectory(ShadowPages& pages, Committed& committed, PendingChanges& changes, std::uint32_t seed) {
    Rebuild(pages, committed, changes, seed).Run();
}

}  // namespace lumvex::compound
