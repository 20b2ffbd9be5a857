// Commit: from what is pending to a new committed state.
//
//   1. No sector that the committed state uses is written; changed structures go to free sectors as changed content
//      did.
//   2. A sector that a reader of an older state may need is not free.
//   3. Everything the new header leads to is durable before the header is written.
//   4. One write of the 512-byte header, made durable, is the commit. Until then a failure drops the draft and nothing
//      else: the committed state is what it was, what is pending stays pending. Content that was written before a flush
//      that failed counts as lost; no commit succeeds with it.
//   5. After it nothing is left that could fail.
//   6. Where writing the header or making it durable fails, the disk may hold either state. The sectors of both rest,
//      and the generation is not used again, until another commit has succeeded.
//   7. Before the first write after opening, the header that was read is made durable: it may be newer than the one on
//      the disk. This is left out where the header has the mark of being there, which is written after the flush of 4.
//   8. Before content is written and directly before the header is, the file is found to be the one that was opened:
//      under its name, with the header that was read.
//
// A file that has no name yet takes it in place of 4: it is complete, header included, and durable before.
//
// The rules are asserted where they take effect, by their numbers; rule 1 in Draft::WriteOut.
#include <algorithm>
#include <cassert>

#include "storage/compound/engine/state.hpp"
#include "storage/compound/write/directory_editor.hpp"
#include "storage/compound/write/directory_rebuild.hpp"
#include "storage/compound/write/draft.hpp"
#include "storage/compound/write/small_streams.hpp"

namespace lumvex::compound {

namespace {

SectorId SectorAt(const std::vector<Run>& runs, std::uint32_t index) {
    const Run& run = RunAt(runs, index);
    return run.first + (index - run.index);
}

}  // namespace

struct CompoundFile::State::Commit {
    explicit Commit(State& owner)
        : state(owner),
          committed(*owner.committed),
          draft(committed, *owner.space),
          header(owner.volume.Head()),
          smallStreams(committed, draft, owner.freeMini) {}

    void DraftSmallStreams();
    void DraftLargeStreams();
    void WriteSmallStreamsOfNewFile();
    void DraftDirectory();
    std::uint64_t MiniStreamSize() const;  // of the next state
    void PlaceAll();
    void WriteAndSwitch();
    void Switch(std::shared_ptr<Committed> next) noexcept;

    struct Old {
        SectorId start = kEndOfChain;
        std::uint64_t size = 0;
        bool isMini = true;
    };
    Old OldOf(const Change& change);
    bool IsWhole(Chain chain, bool isMini, std::uint64_t size);
    void LinkLarge(const LargeContent& content);
    bool ChangeDirectoryInPlace();
    void WriteHeader(const Header::Bytes& bytes);
    void RestoreHeader() noexcept;

    State& state;
    Committed& committed;
    Draft draft;
    Header header;
    SmallStreams smallStreams;
    std::optional<SectorId> miniStream;  // its first sector, once it is placed
};

CompoundFile::State::Commit::Old CompoundFile::State::Commit::OldOf(const Change& change) {
    if (change.existing == kNoEntry) return {};
    const DirectoryEntry entry = committed.At(change.existing);
    const std::uint64_t size = entry.Size(header.Version());
    if (size == 0) return {};
    const bool isMini = committed.IsMini(size);
    if (!IsWhole(Chain(entry.Start()), isMini, size)) return {};
    return {entry.Start(), size, isMini};
}

// Is there a sound chain of enough sectors? Sectors of a damaged chain may be those of other streams too, so they are
// not released: they stay marked as used until the file is written anew.
bool CompoundFile::State::Commit::IsWhole(Chain chain, bool isMini, std::uint64_t size) {
    try {
        const std::uint32_t length = chain.Length(isMini ? committed.MiniFat() : committed.Fat());
        return length >= (isMini ? MiniSectorsFor(size) : state.volume.SectorsFor(size));
    } catch (const StorageError&) {
        return false;
    }
}

void CompoundFile::State::Commit::DraftSmallStreams() {
    state.pending->ForEachContent([&](Change& change) {
        change.start = kEndOfChain;
        if (change.existing == kNoEntry) return;
        const Old old = OldOf(change);
        const std::uint64_t oldCount = old.isMini ? MiniSectorsFor(old.size) : 0;
        const std::uint64_t newCount = change.kind == Change::Kind::Small ? MiniSectorsFor(change.size) : 0;
        if (oldCount == newCount) {
            // The page with these mini sectors is going to be written to another sector, so its copy can be changed.
            if (newCount != 0) smallStreams.Replace(change, old.start);
            change.start = old.isMini ? old.start : kEndOfChain;
            return;
        }
        if (oldCount != 0) smallStreams.Release(old.start);
    });
    // Into mini sectors that were released, too.
    state.pending->ForEachContent([this](Change& change) {
        const bool hasPlace = change.start != kEndOfChain;
        if (change.small != nullptr && !hasPlace) change.start = smallStreams.Place(change);
    });
    smallStreams.Finish();
}

// Links the fresh runs to each other and to the sectors of the old stream that stay.
void CompoundFile::State::Commit::LinkLarge(const LargeContent& content) {
    const Run& last = content.runs.back();
    const std::uint32_t count = last.index + last.count;
    for (const Run& run : content.fresh) {
        const std::uint32_t end = run.index + run.count;
        draft.Fat().LinkRun(run.first, run.count, end < count ? SectorAt(content.runs, end) : kEndOfChain);
        if (run.index > 0) draft.Fat().SetNext(SectorAt(content.runs, run.index - 1), run.first);
    }
    draft.Fat().SetNext(last.first + last.count - 1, kEndOfChain);
}

void CompoundFile::State::Commit::DraftLargeStreams() {
    state.pending->ForEachContent([this](Change& change) {
        if (change.existing == kNoEntry && change.kind != Change::Kind::Large) return;
        const Old old = OldOf(change);
        if (!old.isMini) {
            Chain chain(old.start);
            if (change.kind == Change::Kind::Large && change.large->keepsOldSectors) {
                for (const Run& run : change.large->fresh)
                    for (std::uint32_t i = 0; i < run.count; ++i)
                        if (const auto place = chain.Find(committed.Fat(), run.index + i))
                            draft.Release(place->sector, 1);
                draft.ReleaseChain(chain, change.large->runs.back().index + change.large->runs.back().count);
            } else {
                draft.ReleaseChain(chain);
            }
        }
        if (change.kind != Change::Kind::Large) return;
        LinkLarge(*change.large);
        change.start = change.large->runs.front().first;
    });
}

// The disk can begin with the mini stream of a new file and its table, of which no page changes any more, while the
// directory is made. In a file that is there MoveToFront may move pages of them.
void CompoundFile::State::Commit::WriteSmallStreamsOfNewFile() {
    if (!committed.Empty() || !draft.HasMiniStream()) return;
    miniStream = draft.PlaceMiniStream();
    draft.PlaceMiniFat(header);
    draft.WriteOut();
}

std::uint64_t CompoundFile::State::Commit::MiniStreamSize() const {
    const auto& free = smallStreams.FreeMiniSectors();
    return free ? std::uint64_t{free->End()} << kMiniSectorShift : committed.MiniStreamSize();
}

bool CompoundFile::State::Commit::ChangeDirectoryInPlace() {
    DirectoryEditor editor(draft.Directory(), header.Generation());
    bool done = true;
    state.pending->ForEach([&](const Change& change) {
        if (!done || change.existing == kNoEntry) return;
        if (change.kind == Change::Kind::Removed)
            done = editor.Remove(change.Folded(), change.existing);
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

// The directory of a new file is written while it is made: it is mostly the longest of its structures, and nothing of
// it changes later, unless folders are carried into it.
void CompoundFile::State::Commit::DraftDirectory() {
    if (committed.Empty() && state.pending->Carried() == nullptr)
        return MakeNewDirectory(draft, header, committed, *state.pending, miniStream.value_or(kEndOfChain),
                                miniStream ? MiniStreamSize() : 0);
    std::uint64_t changing = 0;  // entries that come or go
    state.pending->ForEach([&changing](const Change& change) {
        if (change.existing == kNoEntry || change.kind == Change::Kind::Removed) ++changing;
    });
    // Changing one entry touches some three pages, so that many are cheaper with a new tree. A tree that another
    // program has made may be in another order and is always built anew.
    const bool rebuild = committed.Empty() || !committed.GetVolume().Head().IsWrittenByUs() ||
                         (changing >= 8 && 3 * changing >= draft.Directory().Count());
    if (!rebuild && ChangeDirectoryInPlace()) return;
    draft.StartDirectoryAgain();
    RebuildDirectory(draft.Directory(), committed, *state.pending, header.Generation());
}

void CompoundFile::State::Commit::PlaceAll() {
    if (draft.HasMiniStream() && !draft.HasNewDirectory()) {
        if (!miniStream) miniStream = draft.PlaceMiniStream();
        DirectoryEditor(draft.Directory(), 0).SetContent(0, *miniStream, MiniStreamSize());
    }
    header.SetGeneration(state.NextGeneration());
    draft.PlaceStructures(header);
}

void CompoundFile::State::Commit::WriteAndSwitch() {
    Volume& disk = state.volume;
    File& file = disk.GetFile();
    Header oldHeader = disk.Head();
    const bool isFirst = committed.Empty(), hadName = file.HasName();
    assert(isFirst || oldHeader.IsKnownDurable() || disk.Counters().flushes != 0);  // 7
    draft.WriteOut();

    // Everything that the switch needs is made before the commit point (5).
    disk.Map();
    committed.ViewsMoved();
    disk.Adopt(header);
    std::shared_ptr<Committed> next;
    bool held = false, headerTouched = false;
    try {
        next = std::make_shared<Committed>(disk);
        state.space->PrepareHold(header.Generation(), draft.Released());
        held = true;
        if (hadName) {
            disk.Flush();
            assert(!disk.HasUnflushed() && disk.Head().Generation() != oldHeader.Generation());  // 3
            committed.RequireReadable();
            file.RequireName();  // 8
            if (!isFirst) disk.RequireCurrent(oldHeader);
            disk.AboutToWrite(header);
            headerTouched = true;
            WriteHeader(header.bytes());
        } else {
            header.SetKnownDurable(true);  // it will be when the file has its name, and nobody opens it before
            disk.Adopt(header);
            const std::vector<std::byte> rest(disk.SectorSize() - kHeaderSize);
            const Piece pieces[] = {header.bytes(), rest};
            disk.Write(0, pieces);
            disk.Flush();
            assert(!disk.HasUnflushed());  // 3
            committed.RequireReadable();
            file.TakeName();
        }
    } catch (...) {
        if (headerTouched) oldHeader.SetKnownDurable(false);
        disk.Adopt(oldHeader);
        if (held) state.space->CancelHold();
        assert(hadName == file.HasName());  // 4
        if (headerTouched) {
            state.space->SetUncertain();
            state.lastGeneration = header.Generation();
            RestoreHeader();
        }
        assert(disk.Head().bytes() == oldHeader.bytes() && state.committed.get() == &committed);  // 4
        assert(!headerTouched || state.lastGeneration == header.Generation());                    // 6
        throw;
    }
    assert(!disk.HasUnflushed() && file.HasName());  // 4
    Switch(std::move(next));
}

void CompoundFile::State::Commit::Switch(std::shared_ptr<Committed> next) noexcept {  // 5
    assert(state.space->HoldsAll(draft.Released()));                                  // 2

    draft.Keep();
    state.space->NoteWritten(header.Generation(), draft.Taken());
    state.pending->ForEach([this](const Change& change) {
        if (change.large) state.space->NoteWritten(header.Generation(), change.large->fresh);
    });
    state.space->ConfirmHold();
    state.committed->Retire();
    state.committed = std::move(next);
    state.pending = std::move(state.nextPending);
    if (auto& free = smallStreams.FreeMiniSectors()) state.freeMini = std::move(free);
    state.lastGeneration = header.Generation();
    state.hadTooLong = false;
    state.volume.HeaderIsWritten();
    ++state.volume.Counters().commits;
}

void CompoundFile::State::Commit::WriteHeader(const Header::Bytes& bytes) {
    const Piece piece = bytes;
    state.volume.Write(0, std::span(&piece, 1));
    state.volume.Flush();
}

// The file may begin with the new header although the commit failed. Puts the old one back, or at least tries to.
void CompoundFile::State::Commit::RestoreHeader() noexcept {
    try {
        WriteHeader(committed.Empty() ? Header::Bytes{} : state.volume.Head().bytes());
    } catch (...) {  // rule 6 covers it
    }
}

void CompoundFile::State::RequireNothingLost() {
    pending->ForEachContent([this](const Change& change) {
        if (change.large && volume.IsLost(change.large->batch))
            throw StorageError(Status::WriteFault, "a stream was lost when the disk failed and was not written again");
    });
}

void CompoundFile::State::CommitAll() {
    RequireWritable();
    if (pending->Empty() && !committed->Empty()) return;
    RequireNothingLost();
    volume.GetFile().RequireName();
    RequireCurrent();
    PrepareToWrite();
    try {
        MoveStreamsToFront();
        Commit commit(*this);
        commit.DraftSmallStreams();
        commit.DraftLargeStreams();
        commit.WriteSmallStreamsOfNewFile();
        commit.DraftDirectory();
        commit.draft.MoveToFront();
        commit.PlaceAll();
        commit.WriteAndSwitch();
    } catch (...) {
        ForgetMoved();
        throw;
    }
    moved.clear();
    CutFreeTail();
}

}  // namespace lumvex::compound
