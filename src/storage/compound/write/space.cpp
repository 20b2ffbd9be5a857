#include "storage/compound/write/space.hpp"

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>

namespace lumvex::compound {

namespace {

constexpr std::uint32_t kBlock = 128;  // entries; divides those of a page

// The loop has no branch, so that the compiler makes vector code of it.
bool AnyFree(const std::byte* entries) {
    std::uint32_t found = 0;
    for (std::uint32_t i = 0; i < kBlock; ++i)
        found |= Load32(entries + 4 * std::size_t{i}) == kFreeSector ? ~std::uint32_t{0} : 0;
    return found != 0;
}

bool AllFree(const std::byte* entries) {
    std::uint32_t common = kFreeSector;
    for (std::uint32_t i = 0; i < kBlock; ++i) common &= Load32(entries + 4 * std::size_t{i});
    return common == kFreeSector;
}

// The latest generation after this one that a reader has announced, found by halving; this one where there is none.
std::uint32_t LatestAnnounced(const File& file, std::uint32_t generation) {
    // As distances from the generation: some reader is at `latest` or after it (or latest is 0), and none is after
    // `none`.
    std::uint32_t latest = 0, none = (1u << 31) - 1;
    if (!file.AnyReader(generation + 1, none)) return generation;
    while (latest < none) {
        const std::uint32_t middle = latest + (none - latest) / 2;
        if (file.AnyReader(generation + middle + 1, (1u << 31) - 1 - middle))
            latest = middle + 1;
        else
            none = middle;
    }
    return generation + latest;
}

// The file has only so many bytes of its last sector. Does a stream end within these?
bool ALastStreamEndsBefore(Committed& committed, SectorId last, std::size_t bytes) {
    const Volume& volume = committed.GetVolume();
    std::uint64_t walked = 0;
    for (EntryId id = 0; id < committed.EntryCount(); ++id) {  // also of streams in folders
        const DirectoryEntry entry = committed.At(id);
        const std::uint64_t size = entry.Size(volume.Head().Version());
        const bool hasSectors =
            entry.Type() == EntryType::Root || (entry.Type() == EntryType::Stream && !committed.IsMini(size));
        if (!hasSectors || size == 0) continue;
        Chain chain(entry.Start());
        walked += chain.Length(committed.Fat());
        if (walked > volume.SectorCount()) throw Corrupt("streams share sectors");
        const Run& end = chain.Runs(committed.Fat()).back();
        if (end.first + end.count - 1 == last)
            return volume.SectorsFor(size) == end.index + end.count && (size - 1) % volume.SectorSize() < bytes;
    }
    return false;
}

// Otherwise a save would turn what is missing into zeros, which nobody could tell from content.
void RequireNothingMissing(Committed& committed, const FreeMap& sectors, SectorId reserved) {
    const Volume& volume = committed.GetVolume();
    const std::uint32_t count = volume.SectorCount();
    for (SectorId sector = count; sector < sectors.End(); ++sector)
        if (!sectors.IsFree(sector) && sector != reserved)
            throw Corrupt("the file was cut short: it has ", count, " sectors, but sector ", sector, " is in use");
    const std::size_t lacking = volume.LastSectorLacks();
    if (lacking != 0 && !sectors.IsFree(count - 1) &&
        !ALastStreamEndsBefore(committed, count - 1, volume.SectorSize() - lacking))
        throw Corrupt("the file was cut short by ", lacking, " bytes of its last sector or more");
}

// Otherwise a save would write over what is in use.
void RequireStructuresInUse(Committed& committed, const FreeMap& sectors) {
    const auto require = [&sectors](SectorId sector) {
        if (sector >= sectors.End())
            throw Corrupt("sector ", sector, " of ", sectors.End(), " holds a part of the FAT");
        if (sectors.IsFree(sector)) throw Corrupt("sector ", sector, " holds a part of the FAT, but is marked free");
    };
    FatPages& fat = committed.FatSectors();
    for (std::uint32_t i = 0; i < committed.GetVolume().Head().FatSectors(); ++i) require(fat.Location(i));
    for (const SectorId sector : fat.DifatSectors()) require(sector);
    for (Chain* chain :
         {&committed.Directory().Sectors(), &committed.MiniFatSectors().Sectors(), &committed.MiniStream().Sectors()})
        static_cast<void>(chain->Length(committed.Fat()));  // Corrupt where it reaches a free sector
}

}  // namespace

FreeMap ScanFree(Pages& table, std::uint32_t pages, std::uint32_t count, SectorId reserved, std::uint32_t limit) {
    const std::uint32_t perPage = TableEntriesPerPage(table.Shift()).Count();
    const std::uint64_t covered = std::min<std::uint64_t>(std::uint64_t{pages} * perPage, kMaxSector);
    const auto total = static_cast<std::uint32_t>(std::max<std::uint64_t>(count, covered));
    FreeMap map(total, reserved, limit);
    const auto give = [&map, reserved](SectorId first, std::uint32_t length) {
        if (first <= reserved && reserved - first < length) {
            map.Give(first, reserved - first);
            length -= reserved - first + 1;
            first = reserved + 1;
        }
        map.Give(first, length);
    };
    SectorId gap = 0;
    std::uint32_t length = 0;
    const std::byte* page = nullptr;
    for (SectorId sector = 0; sector < covered;) {
        if (sector % perPage == 0) page = table.PageOnce(sector / perPage);
        const std::byte* entries = page + 4 * std::size_t{sector % perPage};
        if (sector % kBlock == 0) {
            const bool noneFree = length == 0 && !AnyFree(entries);
            const bool allFree = !noneFree && AllFree(entries);
            if (allFree && length == 0) gap = sector;
            if (allFree) length += kBlock;
            if (noneFree || allFree) {
                sector += kBlock;
                continue;
            }
        }
        if (Load32(entries) == kFreeSector) {
            if (length++ == 0) gap = sector;
        } else if (length != 0) {
            give(gap, std::exchange(length, 0));
        }
        ++sector;
    }
    if (length != 0) give(gap, length);
    if (covered < total) give(static_cast<SectorId>(covered), total - static_cast<SectorId>(covered));
    // The table may describe sectors behind the end of the file; up to the last one in use they count.
    if (count < total) map.CutTo(std::max(count, map.UsedEnd()));
    return map;
}

Space::Space(Committed& committed, bool alone)
    : file_(committed.GetVolume().GetFile()), alone_(alone), latest_(committed.GetVolume().Head().Generation()) {
    const Volume& volume = committed.GetVolume();
    const std::uint32_t pages = volume.Head().FatSectors();
    if (pages > volume.SectorCount()) throw Corrupt(pages, " FAT sectors in a file of ", volume.SectorCount());
    if (committed.FatSectors().FindLocation(pages))
        throw Corrupt("more FAT sectors are listed than the ", pages, " counted");
    const auto reserved = static_cast<SectorId>((kRangeLockOffset >> volume.SectorShift()) - 1);
    const std::uint32_t limit = volume.Head().Version() == 3
                                    ? static_cast<std::uint32_t>(volume.SectorsFor(kLargestVersion3File)) - 1
                                    : kMaxSector;
    sectors_ = ScanFree(committed.FatSectors(), pages, volume.SectorCount(), reserved, limit);
    RequireNothingMissing(committed, sectors_, reserved);
    RequireStructuresInUse(committed, sectors_);
    sectors_.KeepFront(static_cast<SectorId>((kFrontSize >> volume.SectorShift()) - 1));
    if (alone_) return;
    latest_ = LatestAnnounced(file_, volume.Head().Generation());
    const bool isCurrent = latest_ == volume.Head().Generation();
    Held all{0, isCurrent ? latest_ : latest_ + 1, {}};
    if (sectors_.FreeCount() == 0 || !IsNeeded(all)) return;
    for (auto gap = sectors_.NextGap(0); gap; gap = sectors_.NextGap(gap->first + gap->count)) {
        sectors_.TakeGap(*gap);
        all.runs.push_back(*gap);
    }
    held_.push_back(std::move(all));
}

// Where there is no memory to note them, the sectors stay unused until the file is opened again.
void Space::Discard(const std::vector<Run>& runs) noexcept {
    try {
        if (uncertain_) {
            resting_.insert(resting_.end(), runs.begin(), runs.end());
        } else {
            for (const Run& run : runs) sectors_.Give(run.first, run.count);
        }
    } catch (const std::bad_alloc&) {
        return;
    }
}

void Space::PrepareHold(std::uint32_t generation, const std::vector<Run>& runs) {
    prepared_.clear();
    const auto of = [this, generation](std::uint32_t written) -> std::vector<Run>& {
        auto place = std::ranges::lower_bound(prepared_, written, {}, &Held::written);
        if (place == prepared_.end() || place->written != written)
            place = prepared_.insert(place, {written, generation, {}});
        return place->runs;
    };
    for (const Run& run : runs) {
        for (SectorId at = run.first, end = run.first + run.count; at < end;) {
            const std::uint32_t written = WrittenIn(at);
            SectorId next = at < written_.size() ? at + 1 : end;
            while (next < end && WrittenIn(next) == written) ++next;
            of(written).push_back({0, at, next - at});
            at = next;
        }
    }
    if (!resting_.empty()) {
        std::vector<Run>& unknown = of(0);
        unknown.insert(unknown.end(), resting_.begin(), resting_.end());
    }
    // With more of them, asking for readers of each would cost more than holding some longer than necessary.
    constexpr std::size_t kMost = 64;
    while (held_.size() > kMost) {
        Held& last = held_[held_.size() - 2];
        last.written = 0;
        last.freed = held_.back().freed;
        last.runs.insert(last.runs.end(), held_.back().runs.begin(), held_.back().runs.end());
        held_.pop_back();
    }
    held_.reserve(held_.size() + prepared_.size());
    if (!alone_) written_.resize(std::max<std::size_t>(written_.size(), sectors_.End()));
}

void Space::ConfirmHold() noexcept {
    std::ranges::move(prepared_, std::back_inserter(held_));  // PrepareHold has made room for them
    prepared_.clear();
    resting_.clear();
    uncertain_ = false;
    sectors_.ForgetRefusal();
}

void Space::NoteWritten(std::uint32_t generation, const std::vector<Run>& runs) noexcept {
    if (alone_) return;
    if (uncertain_) generation = 0;  // the failed commit may have written some of them, and readers may have met it
    for (const Run& run : runs) std::fill_n(written_.begin() + run.first, run.count, generation);
}

bool Space::HoldsAll(const std::vector<Run>& runs) const {
    return std::all_of(runs.begin(), runs.end(), [this](const Run& run) {
        const auto gap = sectors_.NextGap(run.first);
        return !gap || gap->first >= run.first + run.count;
    });
}

bool Space::IsNeeded(const Held& held) const {
    if (alone_) return false;
    if (held.written == 0) return file_.ReaderOlderThan(held.freed);
    return file_.AnyReader(held.written, held.freed - held.written);
}

void Space::ReleaseHeld() {
    std::erase_if(held_, [this](const Held& held) {
        if (IsNeeded(held)) return false;
        for (const Run& run : held.runs) sectors_.Give(run.first, run.count);
        return true;
    });
}

}  // namespace lumvex::compound
