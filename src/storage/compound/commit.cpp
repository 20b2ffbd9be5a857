// Commit: from what is pending to a new committed state.
//
//   1. No sector that the committed state uses is written; changed structures go to free sectors as changed content did.
//   2. A sector that a reader of an older state may need is not free.
//   3. Everything the new header leads to is durable before the header is written.
//   4. One write of the 512-byte header, made durable, is the commit. Until then a failure drops the draft and nothing
//      else: the committed state is what it was, what is pending stays pending.
//   5. After it nothing is left that could fail.
//   6. Where writing the header or making it durable fails, the disk may hold either state. The sectors of both rest, and
//      the generation is not used again, until another commit has come through.
//
// A file that has no name yet takes it in place of 4: it is complete, header included, and durable before.
#include <algorithm>
#include <cassert>

#include "storage/compound/directory_editor.hpp"
#include "storage/compound/draft.hpp"
#include "storage/compound/state.hpp"

namespace lumvex::compound {

namespace {

std::uint32_t MiniSectors(std::uint64_t size) {
    return static_cast<std::uint32_t>((size + kMiniSectorSize - 1) >> kMiniSectorShift);
}

// The sector at an index of a stream whose sectors are known.
SectorId SectorAt(const std::vector<Run>& runs, std::uint32_t index) {
    const auto run = std::upper_bound(runs.begin(), runs.end(), index,
                                      [](std::uint32_t value, const Run& at) { return value < at.index; }) -
                     1;
    return run->first + (index - run->index);
}

}  // namespace

struct CompoundFile::State::Commit {
    explicit Commit(State& owner)
        : state(owner), committed(*owner.committed), draft(committed, *owner.space), header(owner.volume.Head()) {}

    void DraftSmallStreams();
    void DraftLargeStreams();
    void DraftDirectory();
    void Draft_Header();
    void WriteAndSwitch();

    struct Old {
        SectorId start = kEndOfChain;
        std::uint64_t size = 0;
        bool isMini = true;
    };
    Old OldOf(const Change& change);
    void SetMiniNext(std::uint32_t sector, SectorId next);
    void WriteMini(std::uint32_t sector, const std::byte* bytes, std::uint64_t size);
    void ReplaceInMiniSectors(const Change& change, Chain& chain);
    void LinkLarge(const Change& change);
    bool ChangeDirectoryInPlace();
    void RestoreHeader() noexcept;

    State& state;
    Committed& committed;
    Draft draft;
    Header header;
    std::optional<FreeMap> freeMini;
    bool miniStreamChanged = false;
};

CompoundFile::State::Commit::Old CompoundFile::State::Commit::OldOf(const Change& change) {
    if (change.existing == kNoEntry) return {};
    const Entry entry = committed.At(change.existing);
    const std::uint64_t size = entry.Size(header.Version());
    return {size == 0 ? kEndOfChain : entry.Start(), size, committed.IsMini(size)};
}

void CompoundFile::State::Commit::SetMiniNext(std::uint32_t sector, SectorId next) {
    const unsigned perPageShift = state.volume.SectorShift() - 2;
    const std::uint32_t page = sector >> perPageShift;
    ShadowPages& table = draft.MiniFat();
    while (table.Count() <= page) table.Append(std::byte{0xFF});
    Store32(table.Edit(page) + 4 * std::size_t{sector & ((1u << perPageShift) - 1)}, next);
}

// Into adjacent mini sectors; the rest of the last one becomes zero.
void CompoundFile::State::Commit::WriteMini(std::uint32_t sector, const std::byte* bytes, std::uint64_t size) {
    ShadowPages& pages = draft.MiniStream();
    std::uint64_t at = std::uint64_t{sector} << kMiniSectorShift;
    std::uint64_t padding = (std::uint64_t{MiniSectors(size)} << kMiniSectorShift) - size;
    while (size + padding != 0) {
        const auto page = static_cast<std::uint32_t>(at >> pages.Shift());
        const std::uint64_t inPage = at & (pages.PageSize() - 1);
        while (pages.Count() <= page) pages.Append(std::byte{0});
        std::byte* to = pages.Edit(page) + inPage;
        const std::uint64_t space = pages.PageSize() - inPage;
        const std::uint64_t content = std::min(size, space), zeros = std::min(padding, space - content);
        std::copy_n(bytes, content, to);
        std::fill_n(to + content, zeros, std::byte{0});
        bytes += content;
        size -= content;
        padding -= zeros;
        at += content + zeros;
    }
}

void CompoundFile::State::Commit::ReplaceInMiniSectors(const Change& change, Chain& chain) {
    for (std::uint64_t done = 0; done < change.size;) {
        const auto index = static_cast<std::uint32_t>(done >> kMiniSectorShift);
        const auto place = chain.Find(committed.MiniFat(), index, MiniSectors(change.size) - index);
        if (!place) throw Corrupt("a chain from mini sector ", chain.First(), " ends before byte ", done);
        const std::uint64_t count = std::min(change.size - done, std::uint64_t{place->adjacent} << kMiniSectorShift);
        WriteMini(place->sector, change.small + done, count);
        done += count;
    }
}

void CompoundFile::State::Commit::DraftSmallStreams() {
    const auto freeMap = [this]() -> FreeMap& {
        if (!freeMini) {
            if (state.freeMini) {
                freeMini = *state.freeMini;
            } else {
                const std::uint32_t pages = committed.MiniFatSectors().Sectors().Length(committed.Fat());
                freeMini = ScanFree(committed.MiniFatSectors(), pages, committed.MiniFat().Limit(), kFreeSector);
            }
        }
        return *freeMini;
    };
    std::vector<Change*> placed;
    state.pending->ForEach([&](Change& change) {
        const Old old = OldOf(change);
        const std::uint32_t oldCount = old.isMini ? MiniSectors(old.size) : 0;
        const std::uint32_t newCount = change.kind == Change::Kind::Small ? MiniSectors(change.size) : 0;
        if (change.kind == Change::Kind::Small) change.start = kEndOfChain;
        Chain chain(old.start);
        if (oldCount != 0 && newCount == oldCount) {
            // The page is written elsewhere anyway, so what stands in its mini sectors can be replaced.
            ReplaceInMiniSectors(change, chain);
            change.start = old.start;
            return;
        }
        if (oldCount != 0)
            for (const Run& run : chain.Runs(committed.MiniFat())) {
                freeMap().Give(run.first, run.count);
                for (std::uint32_t i = 0; i < run.count; ++i) SetMiniNext(run.first + i, kFreeSector);
            }
        if (newCount != 0) placed.push_back(&change);
    });
    for (Change* change : placed) {
        const std::uint32_t count = MiniSectors(change->size);
        const SectorId first = freeMap().Take(count);
        for (std::uint32_t i = 0; i < count; ++i) SetMiniNext(first + i, i + 1 < count ? first + i + 1 : kEndOfChain);
        WriteMini(first, change->small, change->size);
        change->start = first;
    }
    if (!freeMini) return;
    const std::uint32_t end = freeMini->UsedEnd();
    freeMini->CutTo(end);
    const auto pagesFor = [this](std::uint64_t bytes) {
        return static_cast<std::uint32_t>(state.volume.SectorsFor(bytes));
    };
    ShadowPages& table = draft.MiniFat();
    ShadowPages& content = draft.MiniStream();
    table.CutTo(std::min(table.Count(), pagesFor(4 * std::uint64_t{end})));
    content.CutTo(std::min(content.Count(), pagesFor(std::uint64_t{end} << kMiniSectorShift)));
}

// The chain between its fresh runs and the sectors that stay.
void CompoundFile::State::Commit::LinkLarge(const Change& change) {
    const Run& last = change.runs.back();
    const std::uint32_t count = last.index + last.count;
    for (const Run& run : change.fresh) {
        const std::uint32_t end = run.index + run.count;
        draft.LinkRun(run.first, run.count, end < count ? SectorAt(change.runs, end) : kEndOfChain);
        if (run.index > 0) draft.SetNext(SectorAt(change.runs, run.index - 1), run.first);
    }
    draft.SetNext(last.first + last.count - 1, kEndOfChain);
}

void CompoundFile::State::Commit::DraftLargeStreams() {
    state.pending->ForEach([this](Change& change) {
        const Old old = OldOf(change);
        if (!old.isMini) {
            Chain chain(old.start);
            if (change.kind == Change::Kind::Large && change.keepsOldSectors) {
                for (const Run& run : change.fresh)
                    for (std::uint32_t i = 0; i < run.count; ++i)
                        if (const auto place = chain.Find(committed.Fat(), run.index + i))
                            draft.Release(place->sector, 1);
                draft.ReleaseChain(chain, change.runs.back().index + change.runs.back().count);
            } else {
                draft.ReleaseChain(chain);
            }
        }
        if (change.kind != Change::Kind::Large) return;
        LinkLarge(change);
        change.start = change.runs.front().first;
    });
}

bool CompoundFile::State::Commit::ChangeDirectoryInPlace() {
    DirectoryEditor editor(draft.Directory(), header.Generation());
    bool done = true;
    state.pending->ForEach([&](const Change& change) {
        if (!done || change.existing == kNoEntry) return;
        if (change.kind == Change::Kind::Removed)
            done = editor.Remove(change.folded, change.existing);
        else
            editor.SetContent(change.existing, change.start, change.size);
    });
    state.pending->ForEach([&](const Change& change) {
        if (!done || change.existing != kNoEntry) return;
        const auto id = editor.Insert(change);
        done = id.has_value();
        if (id) editor.SetContent(*id, change.start, change.size);
    });
    return done;
}

void CompoundFile::State::Commit::DraftDirectory() {
    std::uint64_t moved = 0;  // entries that come or go
    state.pending->ForEach([&moved](const Change& change) {
        if (change.existing == kNoEntry || change.kind == Change::Kind::Removed) ++moved;
    });
    // Each touches some three pages. A tree of another program's making is made one of ours first.
    const bool rebuild = committed.Empty() || (moved != 0 && committed.OnDisk().Head().Generation() == 0) ||
                         (moved >= 8 && 3 * moved >= draft.Directory().Count());
    if (!rebuild && ChangeDirectoryInPlace()) return;
    draft.StartDirectoryAgain();
    RebuildDirectory(draft.Directory(), committed, *state.pending, header.Generation());
}

void CompoundFile::State::Commit::Draft_Header() {
    if (freeMini || draft.HasMiniStream()) {
        const SectorId start = draft.PlaceMiniStream();
        const std::uint64_t size = freeMini ? std::uint64_t{freeMini->End()} << kMiniSectorShift : committed.MiniStreamSize();
        DirectoryEditor(draft.Directory(), 0).SetContent(0, start, size);
    }
    header.SetGeneration(state.lastGeneration + 1);
    draft.PlaceStructures(header);
}

}  // namespace lumvex::compound
