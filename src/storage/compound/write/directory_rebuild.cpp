#include "storage/compound/write/directory_rebuild.hpp"

#include <algorithm>
#include <array>
#include <cassert>
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
    std::uint64_t key = 0;  // KeyOf its name
    const std::byte* entry = nullptr;
    const Change* change = nullptr;
    EntryId id = kNoEntry;  // its place in the new directory

    bool IsCarriedFolder() const { return change != nullptr && change->kind == Change::Kind::Folder; }

    FoldedName Name() const {
        if (entry == nullptr) return change->Folded();
        return FoldedName(DirectoryEntry(entry));
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

void SortByName(std::vector<Member>& members) {
    SortByBits(members, 0, [](const Member& member) { return member.key; });
    const auto isBefore = [](const Member& a, const Member& b) { return a.Name().Compare(b.Name()) < 0; };
    for (auto begin = members.begin(); begin != members.end();) {
        const auto isOther = [&](const Member& member) { return member.key != begin->key; };
        const auto end = std::find_if(begin, members.end(), isOther);
        if (end - begin > 1) StableSort(begin, end, isBefore);
        begin = end;
    }
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
        SortByName(members_);
        const BalancedTree tree(static_cast<std::uint32_t>(members_.size()));
        if (canRenumber_)
            WriteRenumbered(tree);
        else
            WriteInPlace(tree);
        if (changes_.Carried() != nullptr) PlaceFolders();
    }

private:
    void CollectMembers();
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
    std::vector<Member> members_;   // of the new tree, in order from SortByName on
    std::vector<EntryId> removed_;  // entries of the committed tree
    bool canRenumber_ = true;
};

void Rebuild::CollectMembers() {
    std::unordered_map<EntryId, const Change*> changeOf;  // by the entry that is replaced or removed
    changes_.ForEach([&](const Change& change) {
        if (change.existing != kNoEntry) changeOf.emplace(change.existing, &change);
    });
    members_.reserve(changes_.Count());
    if (!committed_.Empty()) CollectCommitted(changeOf);
    // Further allocated entries, which the root's tree does not reach, belong to folders.
    canRenumber_ = canRenumber_ && CountAllocated() <= members_.size() + removed_.size() + 1;
    changes_.ForEach([&](const Change& change) {
        if (change.existing == kNoEntry) members_.push_back({KeyOf(change.Folded()), nullptr, &change, kNoEntry});
    });
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
        members_.push_back({KeyOf(FoldedName(entry)), entry.bytes(), change, id});
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
            editor_.Edit(member.id).MakeStream(member.change->Name());  // otherwise TakeUnused would give it again
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
        std::byte* bytes = pages_.Append(std::byte{0});
        for (std::uint32_t i = 0; i < perPage_.Count(); ++i) {
            const std::uint32_t id = first + i;
            PrefetchFor(tree, std::uint64_t{id} + kAhead);
            DirectoryEntryWriter entry(bytes + kEntrySize * i);
            if (id > count)
                entry.Clear();
            else if (id != 0)
                WriteEntry(entry, tree, tree.order[id - 1]);
        }
    }
    DirectoryEntryWriter entry = editor_.Edit(0);
    entry.CopyFrom(root.data());
    entry.SetChild(IdOf(tree.top));
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
        entry.MakeStream(member.change->Name());
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
