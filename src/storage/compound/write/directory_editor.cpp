#include "storage/compound/write/directory_editor.hpp"

#include <algorithm>
#include <bit>
#include <cassert>

namespace lumvex::compound {

void DirectoryEditor::SetNext(EntryId id, Side side, EntryId next) {
    if (Next(id, side) == next) return;
    if (side == Side::Left)
        Edit(id).SetLeft(next);
    else
        Edit(id).SetRight(next);
}

void DirectoryEditor::Paint(EntryId id, Colour colour) {
    if (At(id).ColourOf() != colour) Edit(id).SetColour(colour);
}

DirectoryEntryWriter DirectoryEditor::Edit(EntryId id) {
    const PerPage perPage = DirectoryEntriesPerPage(pages_.Shift());
    return DirectoryEntryWriter(pages_.Edit(perPage.PageOf(id)) + kEntrySize * perPage.IndexOf(id));
}

void DirectoryEditor::SetContent(EntryId id, SectorId start, std::uint64_t size) {
    const DirectoryEntry entry = At(id);
    if (entry.Start() != start || entry.Size(4) != size) Edit(id).SetContent(start, size);
}

void DirectoryEditor::Replace(const Path& path, std::size_t depth, EntryId with) {
    if (depth == 0)
        Edit(0).SetChild(with);
    else
        SetNext(path[depth - 1], Next(path[depth - 1], Side::Left) == path[depth] ? Side::Left : Side::Right, with);
}

void DirectoryEditor::Rotate(Path& path, std::size_t depth, Side side) {
    const Side other = side == Side::Left ? Side::Right : Side::Left;
    const EntryId down = path[depth];
    const EntryId up = Next(down, other);
    Replace(path, depth, up);
    SetNext(down, other, Next(up, side));
    SetNext(up, side, down);
    path[depth] = up;
}

// The way from the top to an entry or, for kNoEntry, to where an entry of this name would have to be inserted. None
// where there is no such way, or where it cannot be one of a red-black tree: it is too long for so many entries, or has
// two red entries in a row.
std::optional<DirectoryEditor::Path> DirectoryEditor::PathTo(const FoldedName& name, EntryId id) const {
    const std::uint64_t entries = std::uint64_t{pages_.Count()} * DirectoryEntriesPerPage(pages_.Shift()).Count();
    const std::size_t deepest = 2 * static_cast<std::size_t>(std::bit_width(entries + 1));
    Path path;
    for (EntryId at = Top(); at != kNoEntry;) {
        if (path.size() == deepest) return std::nullopt;
        if (IsRed(at) && (path.empty() || IsRed(path.back()))) return std::nullopt;
        const DirectoryEntry entry = At(at);
        if (entry.Type() != EntryType::Stream && entry.Type() != EntryType::Storage) return std::nullopt;
        path.push_back(at);
        if (at == id) return path;
        const int order = name.Compare(entry);
        if (order == 0) return std::nullopt;
        at = order < 0 ? entry.Left() : entry.Right();
    }
    if (id != kNoEntry) return std::nullopt;
    return path;
}

std::optional<EntryId> DirectoryEditor::Insert(const Change& change) {
    auto path = PathTo(change.Folded(), kNoEntry);
    if (!path) return std::nullopt;
    const EntryId id = TakeUnused();
    DirectoryEntryWriter entry = Edit(id);
    entry.MakeStream(change.Name());
    entry.SetColour(Colour::Red);
    if (path->empty())
        Edit(0).SetChild(id);
    else
        SetNext(path->back(), change.Folded().Compare(At(path->back())) < 0 ? Side::Left : Side::Right, id);
    RestoreAfterInsert(*path, id);
    return id;
}

// The red entry id was inserted; path leads to its parent.
void DirectoryEditor::RestoreAfterInsert(Path& path, EntryId id) {
    while (path.size() >= 2 && IsRed(path.back())) {
        const EntryId parent = path.back();
        const std::size_t aboveParent = path.size() - 2;
        const EntryId grandparent = path[aboveParent];
        const Side side = Next(grandparent, Side::Left) == parent ? Side::Left : Side::Right;
        const Side other = side == Side::Left ? Side::Right : Side::Left;
        const EntryId uncle = Next(grandparent, other);
        if (IsRed(uncle)) {
            Paint(parent, Colour::Black);
            Paint(uncle, Colour::Black);
            Paint(grandparent, Colour::Red);
            id = grandparent;
            path.resize(aboveParent);
            continue;
        }
        if (Next(parent, other) == id) Rotate(path, path.size() - 1, side);
        Paint(path.back(), Colour::Black);
        Paint(grandparent, Colour::Red);
        Rotate(path, aboveParent, other);
        break;
    }
    Paint(Top(), Colour::Black);
}

bool DirectoryEditor::Remove(const FoldedName& name, EntryId id) {
    auto found = PathTo(name, id);
    if (!found) return false;
    Path& path = *found;
    const std::size_t depth = path.size() - 1;
    if (At(id).Left() != kNoEntry && At(id).Right() != kNoEntry) {
        // It changes places with the next entry in order, which has no left child. Only links and colours change; both
        // entries keep their IDs.
        const std::size_t deepest = path.size() + 64;
        for (EntryId at = At(id).Right(); at != kNoEntry; at = At(at).Left()) {
            if (path.size() > deepest) return false;
            path.push_back(at);
        }
        const EntryId next = path.back();
        const Colour colour = At(next).ColourOf();
        const EntryId right = At(next).Right();
        Paint(next, At(id).ColourOf());
        Paint(id, colour);
        Replace(path, depth, next);
        SetNext(next, Side::Left, At(id).Left());
        if (path.size() == depth + 2) {
            SetNext(next, Side::Right, id);
        } else {
            SetNext(next, Side::Right, At(id).Right());
            SetNext(path[path.size() - 2], Side::Left, id);
        }
        SetNext(id, Side::Left, kNoEntry);
        SetNext(id, Side::Right, right);
        path[depth] = next;
        path.back() = id;
    }
    const EntryId child = At(id).Left() != kNoEntry ? At(id).Left() : At(id).Right();
    const bool wasBlack = !IsRed(id);
    Side side = Side::Left;
    if (path.size() > 1 && Next(path[path.size() - 2], Side::Left) != id) side = Side::Right;
    Replace(path, path.size() - 1, child);
    path.pop_back();
    Edit(id).Clear();
    unused_.push_back(id);
    if (!wasBlack) return child == kNoEntry;
    if (child != kNoEntry) {
        if (!IsRed(child)) return false;
        Paint(child, Colour::Black);
        return true;
    }
    return RestoreAfterRemove(path, side);
}

// On this side below path.back() every way has one black entry too few. False where the tree was no red-black tree.
bool DirectoryEditor::RestoreAfterRemove(Path& path, Side side) {
    while (!path.empty()) {
        const Side other = side == Side::Left ? Side::Right : Side::Left;
        const EntryId parent = path.back();
        EntryId sibling = Next(parent, other);
        if (sibling == kNoEntry) return false;
        if (IsRed(sibling)) {
            Paint(sibling, Colour::Black);
            Paint(parent, Colour::Red);
            Rotate(path, path.size() - 1, side);
            path.push_back(parent);
            sibling = Next(parent, other);
            if (sibling == kNoEntry) return false;
        }
        const EntryId near = Next(sibling, side);
        if (!IsRed(near) && !IsRed(Next(sibling, other))) {
            Paint(sibling, Colour::Red);
            if (IsRed(parent)) {
                Paint(parent, Colour::Black);
                return true;
            }
            path.pop_back();
            if (!path.empty()) side = Next(path.back(), Side::Left) == parent ? Side::Left : Side::Right;
            continue;
        }
        if (!IsRed(Next(sibling, other))) {
            Paint(near, Colour::Black);
            Paint(sibling, Colour::Red);
            path.push_back(sibling);
            Rotate(path, path.size() - 1, other);
            path.pop_back();
            sibling = near;
        }
        Paint(sibling, At(parent).ColourOf());
        Paint(parent, Colour::Black);
        Paint(Next(sibling, other), Colour::Black);
        Rotate(path, path.size() - 1, side);
        return true;
    }
    return true;
}

EntryId DirectoryEditor::TakeUnused() {
    const std::uint32_t perPage = DirectoryEntriesPerPage(pages_.Shift()).Count();
    const auto collect = [this, perPage](std::uint32_t page) {
        for (EntryId id = (page + 1) * perPage; id-- > page * perPage;)
            if (id != 0 && At(id).Type() == EntryType::Unallocated) unused_.push_back(id);
    };
    if (unused_.empty() && !searched_ && pages_.Count() != 0) {
        // Not the whole directory, which may be long: its last page, and a few pages that are others with every commit.
        searched_ = true;
        constexpr std::uint32_t kPagesSearched = 32;
        const std::uint32_t last = pages_.Count() - 1;
        const std::uint32_t first = static_cast<std::uint32_t>(std::uint64_t{seed_} * kPagesSearched % pages_.Count());
        for (std::uint32_t i = 0; i < std::min(kPagesSearched, last); ++i)
            if ((first + i) % pages_.Count() != last) collect((first + i) % pages_.Count());
        collect(last);
    }
    if (unused_.empty()) {
        const std::uint32_t page = pages_.Count();
        if (std::uint64_t{page + 1} * perPage > kMaxSector) throw StorageError(Status::MediumFull, "too many entries");
        std::byte* bytes = pages_.Append(std::byte{0});
        for (std::uint32_t i = 0; i < perPage; ++i) DirectoryEntryWriter(bytes + kEntrySize * i).Clear();
        collect(page);
    }
    const EntryId id = unused_.back();
    unused_.pop_back();
    return id;
}

}  // namespace lumvex::compound
