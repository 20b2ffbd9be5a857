// Changes the root storage's part of the directory: a few entries by inserting into and taking out of its red-black
// tree, which touches a handful of pages; many by building the tree anew, perfectly balanced.
#pragma once

#include <optional>
#include <vector>

#include "storage/compound/read/committed.hpp"
#include "storage/compound/write/pending.hpp"
#include "storage/compound/write/shadow_pages.hpp"

namespace lumvex::compound {

class DirectoryEditor {
public:
    // seed: moves with every commit, and with it the part of the directory that is searched for unused entries.
    DirectoryEditor(ShadowPages& pages, std::uint32_t seed) : pages_(pages), seed_(seed) {}

    // Each changes nothing and gives none or false where the tree is not one that it can be done to; an entry taken out
    // becomes unallocated.
    std::optional<EntryId> Insert(const Change& change);
    bool Remove(const FoldedName& name, EntryId id);

    // Content of an entry; leaves an entry that has it already alone.
    void SetContent(EntryId id, SectorId start, std::uint64_t size);

    EntryId TakeUnused();
    EntryWriter Edit(EntryId id);
    Entry At(EntryId id) const { return EntryAt(pages_, id); }

private:
    using Path = std::vector<EntryId>;  // from the top down
    enum class Side : bool { Left, Right };

    EntryId Next(EntryId id, Side side) const { return side == Side::Left ? At(id).Left() : At(id).Right(); }
    void SetNext(EntryId id, Side side, EntryId next);
    bool IsRed(EntryId id) const { return id != kNoEntry && At(id).ColourOf() == Colour::Red; }
    void Paint(EntryId id, Colour colour);
    EntryId Top() const { return At(0).Child(); }

    // The entry takes the place of path[depth] under whatever is above it.
    void Replace(const Path& path, std::size_t depth, EntryId with);
    // path[depth] goes down to `side`, its child of the other side takes its place, in the path too.
    void Rotate(Path& path, std::size_t depth, Side side);
    std::optional<Path> PathTo(const FoldedName& name, EntryId id) const;
    void RestoreAfterInsert(Path& path, EntryId id);
    bool RestoreAfterRemove(Path& path, Side side);

    ShadowPages& pages_;
    std::uint32_t seed_;
    bool searched_ = false;
    std::vector<EntryId> unused_;
};

// A perfectly balanced tree of the first n numbers.
struct BalancedTree {
    explicit BalancedTree(std::uint32_t count);

    struct Node {
        EntryId left = kNoEntry, right = kNoEntry;
        Colour colour = Colour::Black;
    };
    std::vector<Node> nodes;           // by number
    std::vector<std::uint32_t> order;  // numbers as they should stand in the file: a path down crosses few pages
    EntryId top = kNoEntry;
};

// The directory with all changes applied, its tree built anew. committed: what pages are the draft of.
void RebuildDirectory(ShadowPages& pages, Committed& committed, PendingChanges& changes, std::uint32_t seed);

}  // namespace lumvex::compound
