#include "storage/compound/write/directory_rebuild.hpp"

#include <algorithm>
#include <array>
#include <cassert>
#include <optional>
#include <unordered_map>

#include "generic/function_ref.hpp"
#include "generic/long_vector.hpp"
#include "generic/prefetch.hpp"
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
    static constexpr std::uint32_t kNoChange = 0xFFFFFFFF;

    std::uint64_t key = 0;             // the beginning of its name: that of an object's name, or KeyOf another one
    std::uint32_t change = kNoChange;  // as PendingChanges numbers them
    EntryId entry = kNoEntry;          // in the committed directory
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
        entry.MakeStream(change.Object());
}

// First by the bits of the keys from firstBit on; few members are equal in these.
template <class IsBefore>
void SortMembers(LongVector<Member>& members, unsigned firstBit, const IsBefore& isBefore) {
    const auto keyOf = [firstBit](const Member& member) { return member.key >> firstBit; };
    SortByBits(members, firstBit, [](const Member& member) { return member.key; });
    for (auto begin = members.begin(); begin != members.end();) {
        auto end = begin + 1;
        while (end != members.end() && keyOf(*end) == keyOf(*begin)) ++end;
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
        SortByName();
        const BalancedTree tree(static_cast<std::uint32_t>(members_.size()));
        if (canRenumber_) {
            const auto root = RootEntry();
            pages_.CutTo(0);
            WriteRenumbered(tree, root, [this] { return pages_.AppendToFill(); });
        } else {
            WriteInPlace(tree);
        }
        if (changes_.Carried() != nullptr) PlaceFolders();
    }

    void RunForNewFile(Draft& draft, Header& header, SectorId miniStream, std::uint64_t miniStreamSize) {
        CollectMembers();
        SortByName();
        assert(canRenumber_);
        const BalancedTree tree(static_cast<std::uint32_t>(members_.size()));
        auto root = RootEntry();
        DirectoryEntryWriter(root.data()).SetContent(miniStream, miniStreamSize);
        draft.StartNewDirectory(header, perPage_.PageOf(static_cast<std::uint32_t>(members_.size())) + 1);
        WriteRenumbered(tree, root, [&draft] { return draft.NextDirectoryPage(); });
    }

private:
    void CollectMembers();
    void Collect(Member member);
    void SortByName();
    void MergeOthers();
    void CollectCommitted(const std::unordered_map<EntryId, std::uint32_t>& changeOf);
    std::uint32_t CountAllocated();
    void WriteInPlace(const BalancedTree& tree);
    void WriteRenumbered(const BalancedTree& tree, std::array<std::byte, kEntrySize> root,
                         FunctionRef<std::byte*()> nextPage);
    [[gnu::always_inline]] inline void PrefetchFor(const BalancedTree& tree, std::uint64_t id) const;
    std::array<std::byte, kEntrySize> RootEntry();
    void WriteEntry(DirectoryEntryWriter entry, const BalancedTree& tree, std::uint32_t number);
    void PlaceFolders();

    const Change* ChangeOf(const Member& member) const {
        return member.change == Member::kNoChange ? nullptr : &changes_.At(member.change);
    }
    const Change* CarriedFolder(const Member& member) const {
        const Change* change = ChangeOf(member);
        return change != nullptr && change->kind == Change::Kind::Folder ? change : nullptr;
    }
    DirectoryEntry EntryOf(const Member& member) const { return EntryAt(committed_.Directory(), member.entry); }
    FoldedName NameOf(const Member& member) const {
        return member.entry == kNoEntry ? ChangeOf(member)->Folded() : FoldedName(EntryOf(member));
    }
    std::optional<ObjectName> ObjectOf(const Member& member) const {
        if (member.entry != kNoEntry) return ObjectNameOf(NameOf(member).Text());
        const Change& change = *ChangeOf(member);
        return change.isObject ? std::optional(change.Object()) : std::nullopt;
    }
    EntryId IdOf(std::uint32_t number) const { return number == kNoEntry ? kNoEntry : ids_[number]; }

    ShadowPages& pages_;
    Committed& committed_;
    PendingChanges& changes_;
    PerPage perPage_;
    DirectoryEditor editor_;
    LongVector<Member> members_;    // of the new tree; in order from SortByName on, those with names of objects before
    LongVector<Member> others_;     // the others, until then
    LongVector<EntryId> ids_;       // by number of the member: its place in the new directory
    std::vector<EntryId> removed_;  // entries of the committed tree
    bool canRenumber_ = true;
};

void Rebuild::CollectMembers() {
    std::unordered_map<EntryId, std::uint32_t> changeOf;  // by the entry that is replaced or removed
    const auto forEachChange = [this](auto visit) {
        for (std::uint32_t number = 0; number < changes_.NumberEnd(); ++number)
            if (const Change& change = changes_.At(number); change.kind != Change::Kind::Erased) visit(number, change);
    };
    if (!committed_.Empty()) {
        forEachChange([&](std::uint32_t number, const Change& change) {
            if (change.existing != kNoEntry) changeOf.emplace(change.existing, number);
        });
        CollectCommitted(changeOf);
    }
    // Further allocated entries, which the root's tree does not reach, belong to folders.
    canRenumber_ = canRenumber_ && CountAllocated() <= members_.size() + others_.size() + removed_.size() + 1;
    members_.reserve(members_.size() + changes_.Count());
    forEachChange([&](std::uint32_t number, const Change& change) {
        if (change.existing == kNoEntry) Collect({0, number, kNoEntry});
    });
}

void Rebuild::CollectCommitted(const std::unordered_map<EntryId, std::uint32_t>& changeOf) {
    std::vector<bool> reached(std::size_t{pages_.Count()} * perPage_.Count());
    WalkTree(pages_, committed_.TreeTop(), committed_.EntryCount(), [&](EntryId id, const DirectoryEntry& entry) {
        if (reached[id]) throw Corrupt("the directory's tree reaches entry ", id, " twice");
        reached[id] = true;
        const auto found = changeOf.find(id);
        const std::uint32_t change = found == changeOf.end() ? Member::kNoChange : found->second;
        if (change != Member::kNoChange && changes_.At(change).kind == Change::Kind::Removed) {
            removed_.push_back(id);
            return;
        }
        if (entry.Type() != EntryType::Stream) canRenumber_ = false;
        Collect({0, change, id});
    });
}

void Rebuild::Collect(Member member) {
    const auto object = ObjectOf(member);
    member.key = object ? object->first : KeyOf(NameOf(member));
    (object ? members_ : others_).push_back(member);
}

void Rebuild::SortByName() {
    const unsigned bits = BitsThatDecide(members_.size(), 64);  // of IDs, which are mostly random
    SortMembers(members_, 64 - bits, [this](const Member& a, const Member& b) {
        return a.key != b.key ? a.key < b.key : ObjectOf(a)->second < ObjectOf(b)->second;
    });
    SortMembers(others_, 0, [this](const Member& a, const Member& b) { return NameOf(a).Compare(NameOf(b)) < 0; });
    MergeOthers();
    ids_.resize(members_.size());
}

// Nearly all are objects, so that the place of each other member is searched for among them; from the last one on, so
// that all stay in one list.
void Rebuild::MergeOthers() {
    auto left = static_cast<std::ptrdiff_t>(members_.size());  // objects whose place is not known yet
    members_.resize(members_.size() + others_.size());
    for (auto end = members_.end(); !others_.empty(); others_.pop_back()) {
        const FoldedName name = NameOf(others_.back());
        const auto isBefore = [&](const FoldedName& other, const Member& object) {
            return other.Compare(NameOf(object)) < 0;
        };
        const auto begin = members_.begin();
        const auto place = std::upper_bound(begin, begin + left, name, isBefore);
        end = std::move_backward(place, begin + left, end);
        *--end = others_.back();
        left = place - begin;
    }
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
    for (std::uint32_t number = 0; number < members_.size(); ++number) {
        const Member& member = members_[number];
        ids_[number] = member.entry != kNoEntry ? member.entry : editor_.TakeUnused();
        if (member.entry == kNoEntry)  // otherwise TakeUnused would give it again
            MakeStream(editor_.Edit(ids_[number]), *ChangeOf(member));
    }
    for (std::uint32_t number = 0; number < members_.size(); ++number)
        WriteEntry(editor_.Edit(ids_[number]), tree, number);
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
    if (const Change* change = ChangeOf(memberOf(id))) Prefetch(change, sizeof *change);
}

// Page after page. The entries' sources are scattered over memory, so each is prefetched some time before it is read.
void Rebuild::WriteRenumbered(const BalancedTree& tree, std::array<std::byte, kEntrySize> root,
                              FunctionRef<std::byte*()> nextPage) {
    const auto count = static_cast<std::uint32_t>(members_.size());
    for (std::uint32_t i = 0; i < count; ++i) ids_[tree.order[i]] = i + 1;
    DirectoryEntryWriter(root.data()).SetChild(IdOf(tree.top));
    for (std::uint32_t first = 0; first <= count; first += perPage_.Count()) {
        std::byte* bytes = nextPage();
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
    const Change* change = ChangeOf(member);
    const Change* folder = CarriedFolder(member);
    if (folder != nullptr)
        entry.CopyFrom(changes_.Carried()->members[static_cast<std::size_t>(folder->size)].entry.data());
    else if (member.entry == kNoEntry)
        MakeStream(entry, *change);
    else if (canRenumber_)
        entry.CopyFrom(EntryOf(member).bytes());
    entry.SetLeft(IdOf(tree.nodes[number].left));
    entry.SetRight(IdOf(tree.nodes[number].right));
    entry.SetColour(tree.nodes[number].colour);
    if (folder != nullptr)
        entry.SetContent(0, 0);
    else if (change != nullptr)
        entry.SetContent(change->start, change->size);
}

void Rebuild::PlaceFolders() {
    assert(canRenumber_);  // folders are carried into new files only, whose directory is empty
    std::vector<EntryId> folders(changes_.Carried()->rootFolders);
    for (std::uint32_t number = 0; number < members_.size(); ++number)
        if (const Change* folder = CarriedFolder(members_[number]))
            folders[static_cast<std::size_t>(folder->size)] = ids_[number];
    PlaceCarried(editor_, *changes_.Carried(), std::move(folders));
}

}  // namespace

void RebuildDirectory(ShadowPages& pages, Committed& committed, PendingChanges& changes, std::uint32_t seed) {
    Rebuild(pages, committed, changes, seed).Run();
}

void MakeNewDirectory(Draft& draft, Header& header, Committed& committed, PendingChanges& changes, SectorId miniStream,
                      std::uint64_t miniStreamSize) {
    assert(committed.Empty() && changes.Carried() == nullptr);
    Rebuild(draft.Directory(), committed, changes, 0).RunForNewFile(draft, header, miniStream, miniStreamSize);
    draft.StartDirectoryAgain();
}

}  // namespace lumvex::compound
