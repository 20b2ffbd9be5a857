#include <algorithm>
#include <array>
#include <bit>
#include <unordered_map>

#include "storage/compound/write/carried.hpp"
#include "storage/compound/write/directory_editor.hpp"
#include "storage/compound/format/prefetch.hpp"
#include "storage/compound/format/sort_by_bits.hpp"
#include "storage/compound/format/stable_sort.hpp"

namespace lumvex::compound {

namespace {

constexpr int kLevelsTogether = 5;  // 31 entries: a version 4 sector

struct Range {
    std::uint32_t begin, end;
    int depth;

    std::uint32_t Middle() const { return begin + (end - begin) / 2; }
};

// An entry of the tree to be: kept, replaced or new.
struct Member {
    std::uint64_t key = 0;  // decides most comparisons
    const std::byte* entry = nullptr;
    const Change* change = nullptr;
    EntryId id = kNoEntry;

    FoldedName Name() const {
        if (entry == nullptr) return change->Folded();
        std::array<char16_t, kMaxNameLength> buffer;
        return FoldedName(Entry(entry).Name(buffer));
    }
};

// Length and the first eight units, cut at the first that does not fit into seven bits: orders as the names do, as far
// as it goes.
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

std::uint32_t CountAllocated(ShadowPages& pages) {
    const std::uint32_t perPage = 1u << (pages.Shift() - 7);
    std::uint32_t count = 0;
    for (std::uint32_t page = 0; page < pages.Count(); ++page) {
        const std::byte* bytes = pages.Page(page);
        for (std::uint32_t i = 0; i < perPage; ++i)
            if (Entry(bytes + kEntrySize * i).Type() != EntryType::Unallocated) ++count;
    }
    return count;
}

}  // namespace

BalancedTree::BalancedTree(std::uint32_t count) : nodes(count) {
    if (count == 0) return;
    // All levels but the last are full; the last one is red.
    const int fullLevels = static_cast<int>(std::bit_width(std::uint64_t{count} + 1)) - 1;
    order.reserve(count);
    std::vector<Range> blocks{{0, count, 0}};
    top = blocks.front().Middle();
    std::vector<Range> level, below;
    while (!blocks.empty()) {
        level.assign(1, blocks.back());
        blocks.pop_back();
        for (int i = 0; i < kLevelsTogether && !level.empty(); ++i) {
            below.clear();
            for (const Range& range : level) {
                const std::uint32_t middle = range.Middle();
                const Range left{range.begin, middle, range.depth + 1}, right{middle + 1, range.end, range.depth + 1};
                order.push_back(middle);
                Node& node = nodes[middle];
                node.colour = range.depth < fullLevels ? Colour::Black : Colour::Red;
                if (left.begin < left.end) node.left = left.Middle(), below.push_back(left);
                if (right.begin < right.end) node.right = right.Middle(), below.push_back(right);
            }
            level.swap(below);
        }
        blocks.insert(blocks.end(), level.rbegin(), level.rend());
    }
}

void RebuildDirectory(ShadowPages& pages, Committed& committed, PendingChanges& changes, std::uint32_t seed) {
    std::unordered_map<EntryId, const Change*> replaced;
    std::vector<Member> members;
    members.reserve(changes.Count());
    changes.ForEach([&](const Change& change) {
        if (change.existing != kNoEntry) replaced.emplace(change.existing, &change);
    });
    bool onlyStreams = true;
    std::vector<EntryId> removed;
    std::vector<bool> reached(std::size_t{pages.Count()} << (pages.Shift() - 7));
    std::array<std::byte, kEntrySize> root;
    if (committed.Empty()) {
        EntryWriter(root.data()).MakeRoot();
        if (changes.Carried() != nullptr) EntryWriter(root.data()).SetFactsOf(changes.Carried()->root.data());
    } else {
        std::copy_n(committed.At(0).bytes(), kEntrySize, root.begin());
        WalkTree(pages, committed.TreeTop(), committed.EntryCount(), [&](EntryId id, const Entry& entry) {
            if (reached[id]) throw Corrupt("the directory's tree reaches entry ", id, " twice");
            reached[id] = true;
            const auto change = replaced.find(id);
            if (change != replaced.end() && change->second->kind == Change::Kind::Removed) {
                removed.push_back(id);
                return;
            }
            onlyStreams = onlyStreams && entry.Type() == EntryType::Stream;
            std::array<char16_t, kMaxNameLength> buffer;
            members.push_back({KeyOf(FoldedName(entry.Name(buffer))), entry.bytes(),
                               change == replaced.end() ? nullptr : change->second, id});
        });
    }
    const auto kept = static_cast<std::uint32_t>(members.size());
    // Entries that the root's tree does not reach belong to folders; they keep their places, so all others do too.
    const bool renumber = onlyStreams && CountAllocated(pages) <= kept + removed.size() + 1;
    changes.ForEach([&](const Change& change) {
        if (change.existing == kNoEntry) members.push_back({KeyOf(change.Folded()), nullptr, &change, kNoEntry});
    });
    SortByName(members);

    const auto count = static_cast<std::uint32_t>(members.size());
    const BalancedTree tree(count);
    DirectoryEditor editor(pages, seed);
    if (renumber) {
        for (std::uint32_t i = 0; i < count; ++i) members[tree.order[i]].id = i + 1;
    } else {
        for (const EntryId id : removed) editor.Edit(id).Clear();
        for (Member& member : members)
            if (member.id == kNoEntry) {
                member.id = editor.TakeUnused();
                editor.Edit(member.id).MakeStream(member.change->Name());  // so that it is not taken again
            }
    }
    const auto idOf = [&members](std::uint32_t number) { return number == kNoEntry ? kNoEntry : members[number].id; };
    const auto write = [&](EntryWriter entry, std::uint32_t number) {
        const Member& member = members[number];
        const bool isFolder = member.change != nullptr && member.change->kind == Change::Kind::Folder;
        if (isFolder)
            entry.CopyFrom(changes.Carried()->members[static_cast<std::size_t>(member.change->size)].entry.data());
        else if (member.entry == nullptr)
            entry.MakeStream(member.change->Name());
        else if (renumber)
            entry.CopyFrom(member.entry);
        entry.SetLeft(idOf(tree.nodes[number].left));
        entry.SetRight(idOf(tree.nodes[number].right));
        entry.SetColour(tree.nodes[number].colour);
        if (isFolder)
            entry.SetContent(0, 0);
        else if (member.change != nullptr)
            entry.SetContent(member.change->start, member.change->size);
    };
    if (!renumber) {
        for (std::uint32_t number = 0; number < count; ++number) write(editor.Edit(members[number].id), number);
        editor.Edit(0).SetChild(idOf(tree.top));
        return;
    }
    // Page after page. What they are made of is all over the place, so it is asked for some time before it is needed.
    constexpr std::uint64_t kAhead = 16;
    const auto expect = [&](std::uint64_t id) {
        if (id + kAhead <= count) Prefetch(&members[tree.order[static_cast<std::size_t>(id + kAhead - 1)]], sizeof(Member));
        if (id > count) return;
        const Change* change = members[tree.order[static_cast<std::size_t>(id - 1)]].change;
        if (change != nullptr) Prefetch(change, sizeof *change);
    };
    const std::uint32_t perPage = 1u << (pages.Shift() - 7);
    pages.CutTo(0);
    for (std::uint32_t id = 0; id <= count; id += perPage) {
        std::byte* bytes = pages.Append(std::byte{0});
        for (std::uint32_t k = 0; k < perPage; ++k) {
            expect(kAhead + id + k);
            EntryWriter entry(bytes + kEntrySize * k);
            if (id + k > count)
                entry.Clear();
            else if (id + k != 0)
                write(entry, tree.order[id + k - 1]);
        }
    }
    EntryWriter rootEntry = editor.Edit(0);
    rootEntry.CopyFrom(root.data());
    rootEntry.SetChild(idOf(tree.top));
    if (changes.Carried() == nullptr) return;
    std::vector<EntryId> folders(changes.Carried()->rootFolders);
    for (const Member& member : members)
        if (member.change != nullptr && member.change->kind == Change::Kind::Folder)
            folders[static_cast<std::size_t>(member.change->size)] = member.id;
    PlaceCarried(editor, *changes.Carried(), std::move(folders));
}

}  // namespace lumvex::compound
