// Keeping the file short: after much was removed, streams move from its end to the gaps before them, and its end is
// cut.
#include <algorithm>
#include <array>

#include "storage/compound/write/state.hpp"

namespace lumvex::compound {

namespace {

// Large streams with a part behind the middle, until they are most bytes together.
std::vector<EntryId> StreamsBehind(Committed& committed, std::uint32_t middle, std::uint64_t most) {
    std::vector<EntryId> found;
    std::uint64_t size = 0, walked = 0;
    const int version = committed.OnDisk().Head().Version();
    WalkTree(committed.Directory(), committed.TreeTop(), committed.EntryCount(), [&](EntryId id, const Entry& entry) {
        if (size > most || walked > committed.OnDisk().SectorCount()) return;  // then streams share sectors
        if (entry.Type() != EntryType::Stream || committed.IsMini(entry.Size(version))) return;
        Chain chain(entry.Start());
        const std::vector<Run>& runs = chain.Runs(committed.Fat());
        walked += chain.Length(committed.Fat());
        if (std::none_of(runs.begin(), runs.end(), [middle](const Run& run) { return run.first >= middle; })) return;
        found.push_back(id);
        size += entry.Size(version);
    });
    return found;
}

}  // namespace

// Where the file is mostly gaps, as part of a commit that happens anyway. Each time this pays for itself by halving the
// file; what is moved at a time is limited, so that no save takes long.
void CompoundFile::State::MoveStreamsToFront() {
    constexpr std::uint32_t kSmall = 64;  // sectors, not worth it
    constexpr std::uint64_t kMostMoved = std::uint64_t{16} << 20;
    const FreeMap& sectors = space->Sectors();
    const std::uint32_t end = sectors.End(), middle = end / 2;
    if (committed->Empty() || end <= kSmall || sectors.FreeCount() <= middle || end == gatheredEnd) return;
    try {
        for (const EntryId id : StreamsBehind(*committed, middle, kMostMoved)) MoveStream(id, middle);
    } catch (const Error&) {  // it was not necessary
    }
    if (moved.empty()) gatheredEnd = end;
}

void CompoundFile::State::MoveStream(EntryId id, std::uint32_t middle) {
    std::array<char16_t, kMaxNameLength> buffer;
    const std::u16string_view name = committed->At(id).Name(buffer);
    const FoldedName folded(name);
    if (pending->Find(folded) != nullptr) return;
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
    Change& change = pending->Add(name, folded, id);
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

// Where the commit fails they stay where they are: nobody else has them to write them again.
void CompoundFile::State::ForgetMoved() noexcept {
    for (Change* change : moved) {
        DropContent(*change);
        pending->Erase(*change);
    }
    moved.clear();
}

// A tail worth it, as a file whose end moves with every commit costs more to flush. Not being able to cut it is no
// failure.
void CompoundFile::State::CutFreeTail() noexcept {
    try {
        FreeMap& sectors = space->Sectors();
        space->ReleaseHeld();
        const std::uint32_t end = sectors.UsedEnd();
        if (std::uint64_t{sectors.End() - end} * 16 <= sectors.End()) return;
        volume.OnDisk().Resize(volume.OffsetOf(end));
        sectors.CutTo(end);
        volume.ForgetTail(volume.OffsetOf(end));
    } catch (const std::exception&) {
    }
}

}  // namespace lumvex::compound
