// Changes single entries of the root storage's red-black tree, which touches a handful of the directory's pages. For
// many changes see directory_rebuild.hpp.
#pragma once

#include <optional>
#include <vector>

#include "storage/compound/read/committed.hpp"
#include "storage/compound/write/change.hpp"
#include "storage/compound/write/shadow_pages.hpp"

namespace lumvex::compound {

class DirectoryEditor {
public:
    // seed: another number with every commit. It decides which part of the directory is searched for unused entries.
    DirectoryEditor(ShadowPages& pages, std::uint32_t seed) : pages_(pages), seed_(seed) {}

    // None or false where the tree turns out to be no red-black tree. Then it may be half changed: the draft of the
    // directory is to be dropped. A removed entry becomes unallocated.
    std::optional<EntryId> Insert(const Change& change);
    bool Remove(const FoldedName& name, EntryId id);

    // Does not touch the page where the entry has this content already.
    void SetContent(EntryId id, SectorId start, std::uint64_t size);

    EntryId TakeUnused();  // its entry is still unallocated; the caller has to fill it in
    DirectoryEntryWriter Edit(EntryId id);
    DirectoryEntry At(EntryId id) const { return EntryAt(pages_, id); }

private:
    using Path = std::vector<EntryId>;  // from the top down
    enum class Side : bool { Left, Right };

    EntryId Next(EntryId id, Side side) const { return side == Side::Left ? At(id).Left() : At(id).Right(); }
    void SetNext(EntryId id, Side side, EntryId next);
    bool IsRed(EntryId id) const { return id != kNoEntry && At(id).ColourOf() == Colour::Red; }
    void Paint(EntryId id, Colour colour);
    EntryId Top() const { return At(0).Child(); }

    // What leads to path[depth], its parent or the root, leads to another entry from now on.
    void Replace(const Path& path, std::size_t depth, EntryId with);
    // Turns the tree at path[depth] towards `side`: its child of the other side takes its place, in the path too.
    void Rotate(Path& path, std::size_t depth, Side side);
    std::optional<Path> PathTo(const FoldedName& name, EntryId id) const;
    void RestoreAfterInsert(Path& path, EntryId id);
    bool RestoreAfterRemove(Path& path, Side side);

    ShadowPages& pages_;
    std::uint32_t seed_;
    bool searched_ = false;
    std::vector<EntryId> unused_;
};

}  // namespace lumvex::compound
