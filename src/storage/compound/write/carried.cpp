#include "storage/compound/write/carried.hpp"

#include <algorithm>

#include "storage/compound/base/stable_sort.hpp"
#include "storage/compound/write/balanced_tree.hpp"
#include "storage/compound/write/directory_editor.hpp"

namespace lumvex::compound {

namespace {

// Finds the folders level by level, without recursion: other programs may make them as deep as they like.
class FolderReader {
public:
    explicit FolderReader(Committed& from)
        : from_(from), reached_(from.Reading([&from] { return from.EntryCount(); })) {}

    CarriedTree Read(std::vector<EntryId>& ids) {
        return from_.Reading([&] { return Found(ids); });
    }

private:
    CarriedTree Found(std::vector<EntryId>& ids) {
        CarriedTree tree;
        Reach(0);
        std::copy_n(from_.At(0).bytes(), kEntrySize, tree.root.begin());
        tree.rootFolders = Append(tree, ids, from_.TreeTop(), true);
        for (std::uint32_t at = 0; at < tree.members.size(); ++at) {
            if (!tree.members[at].IsFolder()) continue;
            const auto first = static_cast<std::uint32_t>(tree.members.size());
            const std::uint32_t count = Append(tree, ids, DirectoryEntry(tree.members[at].entry.data()).Child(), false);
            tree.members[at].first = first;
            tree.members[at].count = count;
        }
        return tree;
    }

    void Reach(EntryId id) {
        if (id >= reached_.size()) throw Corrupt("the directory leads to entry ", id, " of ", reached_.size());
        if (reached_[id]) throw Corrupt("the directory reaches entry ", id, " twice");
        reached_[id] = true;
    }

    struct Sibling {
        EntryId id;
        FoldedName name;
    };

    std::uint32_t Append(CarriedTree& tree, std::vector<EntryId>& ids, EntryId top, bool foldersOnly) {
        std::vector<EntryId> siblings;
        const auto reach = [&](EntryId id) {
            if (id == kNoEntry) return;
            Reach(id);
            siblings.push_back(id);
        };
        std::vector<Sibling> found;
        reach(top);
        for (std::size_t i = 0; i < siblings.size(); ++i) {
            const DirectoryEntry entry = from_.At(siblings[i]);
            reach(entry.Left());
            reach(entry.Right());
            const bool isStream = entry.Type() == EntryType::Stream && !foldersOnly;
            if (!isStream && entry.Type() != EntryType::Storage) continue;
            std::array<char16_t, kMaxNameLength> buffer;
            found.push_back({siblings[i], FoldedName(entry.Name(buffer))});
        }
        StableSort(found.begin(), found.end(),
                   [](const Sibling& a, const Sibling& b) { return a.name.Compare(b.name) < 0; });
        for (const Sibling& each : found) {
            CarriedMember& member = tree.members.emplace_back();
            std::copy_n(from_.At(each.id).bytes(), kEntrySize, member.entry.begin());
            ids.push_back(each.id);
        }
        return static_cast<std::uint32_t>(found.size());
    }

    Committed& from_;
    std::vector<bool> reached_;
};

}  // namespace

CarriedTree ReadFolders(Committed& from, std::vector<EntryId>& ids) { return FolderReader(from).Read(ids); }

void PlaceCarried(DirectoryEditor& editor, const CarriedTree& tree, std::vector<EntryId> ids) {
    ids.resize(tree.members.size(), kNoEntry);
    for (std::size_t at = 0; at < tree.members.size(); ++at) {
        const CarriedMember& folder = tree.members[at];
        if (!folder.IsFolder()) continue;
        const BalancedTree shape(folder.count);
        for (std::uint32_t i = 0; i < folder.count; ++i) {
            const EntryId id = ids[folder.first + i] = editor.TakeUnused();
            editor.Edit(id).CopyFrom(
                tree.members[folder.first + i].entry.data());  // otherwise TakeUnused would give it again
        }
        const auto idOf = [&](EntryId number) { return number == kNoEntry ? kNoEntry : ids[folder.first + number]; };
        for (std::uint32_t i = 0; i < folder.count; ++i) {
            const CarriedMember& member = tree.members[folder.first + i];
            DirectoryEntryWriter entry = editor.Edit(ids[folder.first + i]);
            entry.SetLeft(idOf(shape.nodes[i].left));
            entry.SetRight(idOf(shape.nodes[i].right));
            entry.SetColour(shape.nodes[i].colour);
            entry.SetChild(kNoEntry);
            if (member.IsFolder())
                entry.SetContent(0, 0);
            else
                entry.SetContent(member.content.start, member.content.size);
        }
        editor.Edit(ids[at]).SetChild(idOf(shape.top));
    }
}

}  // namespace lumvex::compound
