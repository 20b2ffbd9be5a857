// Keeping the file short. After much was removed, a commit moves streams from the end of the file into gaps at its
// front, and cuts the file.
#include <algorithm>
#include <array>

#include "storage/compound/engine/state.hpp"

namespace lumvex::compound {

namespace {

// Large streams that have a part behind the middle, as many as are `most` bytes together.
std::vector<EntryId> StreamsBehind(Committed& committed, std::uint32_t middle, std::uint64_t most) {
    std::vector<EntryId> found;
    std::uint64_t size = 0, walked = 0;
    const int version = committed.GetVolume().Head().Version();
    WalkTree(committed.Directory(), committed.TreeTop(), committed.EntryCount(),
             [&](EntryId id, const DirectoryEntry& entry) {
                 if (size > most || walked > committed.GetVolume().SectorCount())
                     return;  // walked: streams share sectors, and the walk might take very long
                 if (entry.Type() != EntryType::Stream || committed.IsMini(entry.Size(version))) return;
                 Chain chain(entry.Start());
                 const std::vector<Run>& runs = chain.Runs(committed.Fat());
                 walked += chain.Length(committed.Fat());
                 if (std::none_of(runs.begin(), runs.end(), [middle](const Run& run) { return run.first >= middle; }))
                     return;
                 found.push_back(id);
                 size += entry.Size(version);
             });
    return found;
}

}  // namespace

// Part of a commit that happens anyway, where more than half of the file is free. Moving costs writing, but afterwards
// the file can be cut to half. A commit moves a limited number of bytes, so that no save takes long.
void CompoundFile::State::MoveStreamsToFront() {
    constexpr std::uint32_t kSmall = 64;  // sectors; a shorter file is left as it is
    constexpr std::uint64_t kMostMoved = std::uint64_t{16} << 20;
    const FreeMap& sectors = space->Sectors();
    const std::uint32_t end = sectors.End(), middle = end / 2;
    if (committed->Empty() || end <= kSmall || sectors.FreeCount() <= middle || end == endWithoutMoves) return;
    try {
        for (const EntryId id : StreamsBehind(*committed, middle, kMostMoved)) MoveStream(id, middle);
    } catch (const StorageError&) {  // they stay where they are
    }
    if (moved.empty()) endWithoutMoves = end;
}

void CompoundFile::State::MoveStream(EntryId id, std::uint32_t middle) {
    std::array<char16_t, kMaxNameLength> buffer;
    const std::u16string_view name = committed->At(id).Name(buffer);
    const ChangeName known(name);
    if (pending->Find(known) != nullptr) return;
    StreamBody stream(committed, id);
    std::vector<Piece> content;
    std::vector<FileView::Window> windows;  // where the file is not mapped
    for (std::uint64_t at = 0; at < stream.size;) {
        const StreamBody::Extent extent = stream.ExtentAt(at, stream.size - at);
        content.emplace_back(volume.Bytes(extent.offset, extent.count, windows.emplace_back()),
                             static_cast<std::size_t>(extent.count));
        at += extent.count;
    }
    moved.reserve(moved.size() + 1);
    Change& change = pending->Add(known, id);
    try {
        change.size = stream.size;
        LargeContent& large = MakeLarge(change);
        large.fresh = space->Sectors().TakeRuns(static_cast<std::uint32_t>(volume.SectorsFor(stream.size)));
        large.runs = large.fresh;
        const auto inFront = [middle](const Run& run) { return run.first + run.count <= middle; };
        if (std::all_of(large.fresh.begin(), large.fresh.end(), inFront)) {
            PieceCursor cursor(content);
            for (const Run& run : large.fresh) WriteRun(run, cursor);
            committed->RequireReadable();
            moved.push_back(&change);
            return;
        }
    } catch (...) {
        DropContent(change);
        pending->Erase(change);
        throw;
    }
    DropContent(change);
    pending->Erase(change);
}

// To be called when the commit fails: the streams it has moved stay where they were. Nobody but the committed state has
// their content, so they must not be pending, where a failed flush may lose them.
void CompoundFile::State::ForgetMoved() noexcept {
    for (Change* change : moved) {
        DropContent(*change);
        pending->Erase(*change);
    }
    moved.clear();
}

// Cuts the file where more than a sixteenth of it is free at its end: a file whose length changes takes longer to
// flush. Where it cannot be cut, it stays longer than it has to be.
void CompoundFile::State::CutFreeTail() noexcept {
    try {
        FreeMap& sectors = space->Sectors();
        space->ReleaseHeld();
        const std::uint32_t end = sectors.UsedEnd();
        if (std::uint64_t{sectors.End() - end} * 16 <= sectors.End()) return;
        volume.GetFile().Resize(volume.OffsetOf(end));
        sectors.CutTo(end);
        volume.CutTo(volume.OffsetOf(end));
    } catch (const std::exception&) {
    }
}

}  // namespace lumvex::compound
