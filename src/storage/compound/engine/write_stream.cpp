// Writing and removing streams, up to the commit. Where most of a stream's new content equals the committed one, only
// the sectors that differ are written, and the others are used again.
#include <algorithm>
#include <array>
#include <optional>

#include "storage/compound/engine/state.hpp"

namespace lumvex::compound {

namespace {

constexpr std::uint64_t kLargestVersion3Stream = 0x7FFFFFFF;
constexpr std::array<std::byte, 4096> kZeros{};
constexpr std::size_t kCompareAhead = std::size_t{16} * 1024;

// The sectors in which new content of this size differs from the old stream; none where more than a quarter of them do.
// Neither is small.
std::optional<std::vector<Run>> DifferingSectors(StreamBody& old, PieceCursor content, std::uint64_t size) {
    const Volume& volume = old.committed->GetVolume();
    const std::uint64_t sectorSize = volume.SectorSize();
    const auto sectors = static_cast<std::uint32_t>(volume.SectorsFor(size));
    std::vector<Run> differing;
    std::uint32_t count = 0;
    FileView::Window window;
    StreamBody::Extent extent{0, 0};  // where the old stream's bytes from extentBegin on are
    std::uint64_t extentBegin = 0;
    for (std::uint32_t i = 0; i < sectors; ++i) {
        const std::uint64_t begin = i * sectorSize;
        const std::uint64_t length = std::min(sectorSize, size - begin);
        if (begin + length <= old.size) {
            if (begin >= extentBegin + extent.count) {
                extentBegin = begin;
                extent = old.ExtentAt(begin, old.size - begin);
            }
            const std::uint64_t offset = extent.offset + (begin - extentBegin);
            volume.CountRead(offset, length);
            const auto ahead = static_cast<std::size_t>(std::min<std::uint64_t>(kCompareAhead, old.size - begin));
            if (content.Equals(volume.BytesOnce(offset, length, window, ahead), length)) continue;
        } else {
            content.Skip(length);
        }
        if (4 * std::uint64_t{++count} > std::uint64_t{sectors} + 3) return std::nullopt;
        if (!differing.empty() && differing.back().index + differing.back().count == i)
            ++differing.back().count;
        else
            differing.push_back({i, 0, 1});
    }
    return differing;
}

std::uint64_t SizeOf(std::span<const Piece> content) {
    std::uint64_t size = 0;
    for (const Piece& piece : content) size += piece.size();
    return size;
}

}  // namespace

// To be called before anything becomes pending. Makes the empty set of changes that takes the place of the pending ones
// after a commit or a Revert, neither of which may fail for want of memory then; and finds the free sectors, the first
// time.
void CompoundFile::State::PrepareToWrite() {
    if (!nextPending) nextPending = std::make_shared<PendingChanges>();
    if (!space) {
        Space found(*committed, access == Access::Exclusive);
        committed->RequireReadable();
        if (!committed->Empty() && !volume.Head().IsKnownDurable()) MakeHeaderDurable();
        space.emplace(std::move(found));
        lastGeneration = space->LatestGeneration();
    }
    if (pending->Empty()) space->ReleaseHeld();
}

// Whoever wrote the header that was read here may have died before it was on the disk, or its flush may have failed.
// Then the disk still holds an older state, which uses sectors that are free in this one. A flush alone would not do:
// the system takes a page whose flush failed for clean. So the header is written again first.
void CompoundFile::State::MakeHeaderDurable() {
    const Piece piece = volume.Head().bytes();
    volume.Write(0, std::span(&piece, 1));
    volume.Flush();
}

void CompoundFile::State::DropContent(Change& change) noexcept {
    if (change.large) space->Discard(change.large->fresh);
    if (change.small != nullptr) pending->GiveSmall(change.small, change.size);
    change.kind = Change::Kind::Removed;
    change.small = nullptr;
    change.large.reset();
    change.size = 0;
}

void CompoundFile::State::RequireFits(std::uint64_t size) {
    if (volume.Head().Version() != 3 || size <= kLargestVersion3Stream) return;
    hadTooLong = true;
    throw StorageError(Status::MediumFull, "a stream of ", size, " bytes in a version 3 file");
}

void CompoundFile::State::Write(const ChangeName& name, std::span<const Piece> content) {
    RequireWritable();
    const std::uint64_t size = SizeOf(content);
    RequireFits(size);
    Change* change = pending->Find(name);
    const EntryId existing = ExistingStream(name, change);
    if (change == nullptr && existing == kNoEntry) {
        PrepareToWrite();
        return AddNew(name, content);
    }
    Comparison comparison = Compare(existing, content, size);
    if (comparison.isSame) {
        if (change != nullptr) DropContent(*change), pending->Erase(*change);
        return;
    }
    PrepareToWrite();
    Change written;
    written.size = size;
    try {
        WriteContent(written, comparison, content);
        if (change == nullptr) change = &pending->Add(name, existing);
    } catch (...) {
        DropContent(written);
        throw;
    }
    DropContent(*change);
    change->kind = written.kind;
    change->small = written.small;
    change->large = std::move(written.large);
    change->size = written.size;
}

void CompoundFile::State::AddNew(const ChangeName& name, std::span<const Piece> content) {
    Change& added = pending->Add(name, kNoEntry);
    try {
        WriteNew(added, content);
    } catch (...) {
        DropContent(added);
        pending->Erase(added);
        throw;
    }
}

// The committed stream of this name, kNoEntry where there is none; change: what is pending under the name.
EntryId CompoundFile::State::ExistingStream(const ChangeName& name, const Change* change) {
    const EntryId existing = change != nullptr    ? change->existing
                             : committed->Empty() ? kNoEntry
                                                  : committed->Find(name.Folded());
    const bool isFolder = (change != nullptr && change->kind == Change::Kind::Folder) ||
                          (existing != kNoEntry && committed->At(existing).Type() != EntryType::Stream);
    if (isFolder) throw StorageError(Status::AccessDenied, "a folder has the name of a stream");
    return existing;
}

CompoundFile::State::Comparison CompoundFile::State::Compare(EntryId existing, std::span<const Piece> content,
                                                             std::uint64_t size) {
    Comparison comparison;
    if (existing == kNoEntry) return comparison;
    try {
        StreamBody& old = comparison.old.emplace(committed, existing);
        const bool isMini = committed->IsMini(size);
        if (!isMini && !old.isMini) {
            static_cast<void>(old.chain.Length(committed->Fat()));  // Corrupt where it is a cycle
            comparison.differing = DifferingSectors(old, PieceCursor(content), size);
            comparison.isSame = comparison.differing && comparison.differing->empty() && old.size == size;
        } else if (isMini && old.isMini && old.size == size) {
            std::vector<std::byte> bytes(static_cast<std::size_t>(size));
            old.Read(0, bytes);
            comparison.isSame = PieceCursor(content).Equals(bytes.data(), bytes.size());
        }
    } catch (const StorageError&) {
        comparison = {};  // the old stream is damaged: nothing of it is kept
    }
    committed->RequireReadable();
    return comparison;
}

void CompoundFile::State::WriteContent(Change& change, Comparison& comparison, std::span<const Piece> content) {
    StreamBody* old = comparison.old ? &*comparison.old : nullptr;
    const auto& differing = comparison.differing;
    if (committed->IsMini(change.size))
        WriteSmall(change, content);
    else if (differing && differing->size() <= 16 + volume.SectorsFor(change.size) / 32)
        WriteDifferences(change, *old, content, *differing);
    else
        WriteWhole(change, old != nullptr && !old->isMini ? old : nullptr, content);
}

// Content that no committed stream has the name of.
void CompoundFile::State::WriteNew(Change& change, std::span<const Piece> content) {
    change.size = SizeOf(content);
    RequireFits(change.size);
    if (committed->IsMini(change.size))
        WriteSmall(change, content);
    else
        WriteWhole(change, nullptr, content);
}

void CompoundFile::State::WriteSmall(Change& change, std::span<const Piece> content) {
    change.small = pending->TakeSmall(change.size);
    change.kind = Change::Kind::Small;
    std::byte* to = change.small;
    for (const Piece& piece : content) to = std::copy(piece.begin(), piece.end(), to);
    if (change.size % kMiniSectorSize != 0)
        std::fill_n(to, kMiniSectorSize - change.size % kMiniSectorSize, std::byte{0});
}

LargeContent& CompoundFile::State::MakeLarge(Change& change) {
    change.kind = Change::Kind::Large;
    change.large = std::make_unique<LargeContent>();
    change.large->batch = volume.Batch();
    return *change.large;
}

void CompoundFile::State::WriteWhole(Change& change, const StreamBody* old, std::span<const Piece> content) {
    LargeContent& large = MakeLarge(change);
    const auto count = static_cast<std::uint32_t>(volume.SectorsFor(change.size));
    const PerPage perPage = TableEntriesPerPage(volume.SectorShift());
    if (old != nullptr)
        large.fresh = space->Sectors().TakeNear(
            count, committed->FatSectors().ChangedWith({perPage.PageOf(old->chain.First())}), perPage);
    else
        large.fresh = space->Sectors().TakeRuns(count);
    large.runs = large.fresh;
    PieceCursor cursor(content);
    for (const Run& run : large.fresh) WriteRun(run, cursor);
}

void CompoundFile::State::WriteDifferences(Change& change, StreamBody& old, std::span<const Piece> content,
                                           const std::vector<Run>& differing) {
    LargeContent& large = MakeLarge(change);
    large.keepsOldSectors = true;
    const auto sectors = static_cast<std::uint32_t>(volume.SectorsFor(change.size));
    std::uint32_t done = 0;
    const auto append = [&large](const Run& run) {
        if (!large.runs.empty() && large.runs.back().first + large.runs.back().count == run.first)
            large.runs.back().count += run.count;
        else
            large.runs.push_back(run);
    };
    const auto keepUntil = [&](std::uint32_t index) {
        while (done < index) {
            const auto place = old.chain.Find(committed->Fat(), done, index - done);
            append({done, place->sector, place->adjacent});
            done += place->adjacent;
        }
    };
    PieceCursor cursor(content);
    std::uint64_t at = 0;
    for (const Run& run : differing) {
        keepUntil(run.index);
        large.fresh.reserve(differing.size());
        const Run fresh{run.index, space->Sectors().Take(run.count), run.count};
        large.fresh.push_back(fresh);
        append(fresh);
        done += run.count;
        const std::uint64_t begin = std::uint64_t{run.index} << volume.SectorShift();
        cursor.Skip(begin - at);
        WriteRun(fresh, cursor);
        at = std::min(change.size, std::uint64_t{done} << volume.SectorShift());
    }
    keepUntil(sectors);
}

// Fills the run with the next bytes of the content, and with zeros behind its end.
void CompoundFile::State::WriteRun(const Run& run, PieceCursor& content) {
    std::vector<Piece> pieces;
    std::uint64_t rest = std::uint64_t{run.count} << volume.SectorShift();
    while (rest != 0) {
        Piece next = content.Next(rest);
        if (next.empty())
            next = Piece(kZeros.data(), static_cast<std::size_t>(std::min<std::uint64_t>(rest, kZeros.size())));
        pieces.push_back(next);
        rest -= next.size();
    }
    volume.WriteContent(volume.OffsetOf(run.first), pieces);
}

void CompoundFile::State::Remove(std::u16string_view name) {
    RequireWritable();
    const ChangeName removed(name);
    Change* change = name.size() > kMaxNameLength ? nullptr : pending->Find(removed);
    if (change != nullptr && change->IsStream()) {
        DropContent(*change);
        if (change->existing == kNoEntry) pending->Erase(*change);
        return;
    }
    const bool isSought = change == nullptr && name.size() <= kMaxNameLength;
    const EntryId found = isSought ? committed->Find(removed.Folded()) : kNoEntry;
    if (found == kNoEntry || committed->At(found).Type() != EntryType::Stream)
        throw StorageError(Status::NotFound, "no stream has this name");
    PrepareToWrite();
    pending->Add(removed, found);
}

void CompoundFile::State::Revert() noexcept {
    pending->ForEachContent([this](Change& change) {
        if (change.large) space->Discard(change.large->fresh);
    });
    if (nextPending) pending = std::move(nextPending);
    volume.DropBuffered();
    if (!space || committed->Empty()) return;
    try {
        RequireCurrent();
        CutFreeTail();  // the dropped content may have made the file longer
    } catch (const std::exception&) {
    }
}

}  // namespace lumvex::compound
