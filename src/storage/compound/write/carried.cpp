#include "storage/compound/write/carried.hpp"

#include <algorithm>
#include <memory>

#include "storage/compound/format/stable_sort.hpp"
#include "storage/compound/write/state.hpp"

namespace lumvex::compound {

namespace {

// Finds the folders of a committed state level by level, so that the depth of its trees costs no stack.
class FolderReader {
public:
    explicit FolderReader(Committed& from)
        : from_(from), reached_(from.Reading([&from] { return from.EntryCount(); })) {}

    // ids: the entry of each member.
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
            const std::uint32_t count = Append(tree, ids, Entry(tree.members[at].entry.data()).Child(), false);
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
            const Entry entry = from_.At(siblings[i]);
            reach(entry.Left());
            reach(entry.Right());
            const bool isStream = entry.Type() == EntryType::Stream && !foldersOnly;
            if (!isStream && entry.Type() != EntryType::Storage) continue;
            std::array<char16_t, kMaxNameLength> buffer;
            found.push_back({siblings[i], FoldedName(entry.Name(buffer))});
        }
        StableSort(found.begin(), found.end(), [](const Sibling& a, const Sibling& b) { return a.name.Compare(b.name) < 0; });
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

void PlaceCarried(DirectoryEditor& editor, const CarriedTree& tree, std::vector<EntryId> ids) {
    ids.resize(tree.members.size(), kNoEntry);
    for (std::size_t at = 0; at < tree.members.size(); ++at) {
        const CarriedMember& folder = tree.members[at];
        if (!folder.IsFolder()) continue;
        const BalancedTree shape(folder.count);
        for (std::uint32_t i = 0; i < folder.count; ++i) {
            const EntryId id = ids[folder.first + i] = editor.TakeUnused();
            editor.Edit(id).CopyFrom(tree.members[folder.first + i].entry.data());  // so that it is not taken again
        }
        const auto idOf = [&](EntryId number) { return number == kNoEntry ? kNoEntry : ids[folder.first + number]; };
        for (std::uint32_t i = 0; i < folder.count; ++i) {
            const CarriedMember& member = tree.members[folder.first + i];
            EntryWriter entry = editor.Edit(ids[folder.first + i]);
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

void CompoundFile::State::Carry(const std::shared_ptr<Committed>& from) {
    RequireWritable();
    if (!committed->Empty() || pending->Carried() != nullptr)
        throw Failure(Status::AccessDenied, "folders are carried into a new file, and once");
    if (from->Empty()) return;
    std::vector<EntryId> ids;
    auto tree = std::make_unique<CarriedTree>(FolderReader(*from).Read(ids));
    std::array<char16_t, kMaxNameLength> buffer;
    for (std::uint32_t at = 0; at < tree->rootFolders; ++at)
        if (pending->Find(FoldedName(Entry(tree->members[at].entry.data()).Name(buffer))) != nullptr)
            throw Failure(Status::AccessDenied, "a folder has the name of a stream");

    FreeSpace();
    std::vector<Change*> added;
    try {
        const Volume& disk = from->OnDisk();
        const std::uint64_t most = std::uint64_t{disk.SectorCount()} << disk.SectorShift();
        std::uint64_t total = 0;  // streams that share their sectors would make more of them than there is
        std::vector<std::byte> bytes;
        for (std::size_t at = 0; at < tree->members.size(); ++at) {
            CarriedMember& member = tree->members[at];
            if (member.IsFolder()) continue;
            auto body = from->Reading([&] { return std::make_shared<StreamBody>(from, ids[at]); });
            const std::uint64_t size = body->size;
            total += size;
            if (total > most) throw Corrupt("streams in folders have ", total, " bytes or more where there are ", most);
            bytes.resize(static_cast<std::size_t>(size));
            Stream(std::move(body)).Read(0, bytes);
            const Piece piece(bytes);
            WriteNew(member.content, std::span(&piece, 1));
        }
        for (std::uint32_t at = 0; at < tree->rootFolders; ++at) {
            const std::u16string_view name = Entry(tree->members[at].entry.data()).Name(buffer);
            if (name.empty()) throw Corrupt("a folder has no name");
            Change& change = pending->Add(name, FoldedName(name), kNoEntry);
            change.kind = Change::Kind::Folder;
            change.size = at;
            added.push_back(&change);
        }
        pending->Carry(std::move(tree));
    } catch (...) {
        for (CarriedMember& member : tree->members) DropContent(member.content);
        for (Change* change : added) pending->Erase(*change);
        throw;
    }
}

void CompoundFile::CarryFrom(const CompoundFile& from) { state_->Carry(from.state_->committed); }

void CompoundFile::ForEachInFolders(const std::function<void(std::uint64_t size)>& visit) const {
    if (state_->committed->Empty()) return;
    std::vector<EntryId> ids;
    for (const CarriedMember& member : FolderReader(*state_->committed).Read(ids).members)
        visit(member.IsFolder() ? 0 : Entry(member.entry.data()).Size(Version()));
}

}  // namespace lumvex::compound
