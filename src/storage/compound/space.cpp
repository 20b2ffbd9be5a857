#include "storage/compound/space.hpp"

#include <algorithm>
#include <new>
#include <utility>

namespace lumvex::compound {

namespace {

constexpr std::uint32_t kBlock = 16;

bool AnyFree(const std::byte* entries) {
    std::uint32_t found = 0;
    for (std::uint32_t i = 0; i < kBlock; ++i) found |= Load32(entries + 4 * std::size_t{i}) == kFreeSector ? 1u : 0u;
    return found != 0;
}

// Where the file ends within a sector: does what ends there end before it?
bool ALastStreamEndsBefore(Committed& committed, SectorId last, std::size_t bytes) {
    const Volume& volume = committed.OnDisk();
    std::uint64_t walked = 0;
    for (EntryId id = 0; id < committed.EntryCount(); ++id) {  // those of folders too
        const Entry entry = committed.At(id);
        const std::uint64_t size = entry.Size(volume.Head().Version());
        const bool hasSectors = entry.Type() == EntryType::Root ||
                                (entry.Type() == EntryType::Stream && !committed.IsMini(size));
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

// A save would turn what is missing into zeros that nobody can tell from content.
void RequireNothingMissing(Committed& committed, const FreeMap& sectors, SectorId reserved) {
    const Volume& volume = committed.OnDisk();
    const std::uint32_t count = volume.SectorCount();
    for (SectorId sector = count; sector < sectors.End(); ++sector)
        if (!sectors.IsFree(sector) && sector != reserved)
            throw Corrupt("the file was cut short: it has ", count, " sectors, but sector ", sector, " is in use");
    const std::size_t lacking = volume.LastSectorLacks();
    if (lacking != 0 && !sectors.IsFree(count - 1) &&
        !ALastStreamEndsBefore(committed, count - 1, volume.SectorSize() - lacking))
        throw Corrupt("the file was cut short by ", lacking, " bytes of its last sector or more");
}

// A save would write over what is in use.
void RequireStructuresInUse(Committed& committed, const FreeMap& sectors) {
    const auto require = [&sectors](SectorId sector) {
        if (sectors.IsFree(sector)) throw Corrupt("sector ", sector, " holds a part of the FAT, but is marked free");
    };
    FatPages& fat = committed.FatSectors();
    for (std::uint32_t i = 0; i < committed.OnDisk().Head().FatSectors(); ++i) require(fat.Location(i));
    for (const SectorId sector : fat.DifatSectors()) require(sector);
    for (Chain* chain : {&committed.Directory().Sectors(), &committed.MiniFatSectors().Sectors(),
                         &committed.MiniStream().Sectors()})
        static_cast<void>(chain->Length(committed.Fat()));  // Corrupt where it reaches a free sector
}

}  // namespace

FreeMap ScanFree(Pages& table, std::uint32_t pages, std::uint32_t count, SectorId reserved, std::uint32_t limit) {
    const std::uint32_t perPage = static_cast<std::uint32_t>(table.PageSize() / 4);
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
    for (SectorId sector = 0; sector < covered;) {
        const std::byte* entries = table.Page(sector / perPage) + 4 * std::size_t{sector % perPage};
        if (sector % kBlock == 0 && length == 0 && !AnyFree(entries)) {
            sector += kBlock;
            continue;
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
    // A table may go on behind the end of what there is; entries in use there count.
    if (count < total) map.CutTo(std::max(count, map.UsedEnd()));
    return map;
}

Space::Space(Committed& committed, bool alone) : file_(committed.OnDisk().OnDisk()), alone_(alone) {
    const Volume& volume = committed.OnDisk();
    const std::uint32_t pages = volume.Head().FatSectors();
    if (pages > volume.SectorCount()) throw Corrupt(pages, " FAT sectors in a file of ", volume.SectorCount());
    if (committed.FatSectors().FindLocation(pages))
        throw Corrupt("more FAT sectors are listed than the ", pages, " counted");
    const auto reserved = static_cast<SectorId>((kRangeLockOffset >> volume.SectorShift()) - 1);
    const std::uint32_t limit =
        volume.Head().Version() == 3 ? static_cast<std::uint32_t>(volume.SectorsFor(kLargestVersion3File)) - 1 : kMaxSector;
    sectors_ = ScanFree(committed.FatSectors(), pages, volume.SectorCount(), reserved, limit);
    RequireNothingMissing(committed, sectors_, reserved);
    RequireStructuresInUse(committed, sectors_);
    if (alone_ || sectors_.FreeCount() == 0 || !file_.ReaderOlderThan(volume.Head().Generation())) return;
    Held all{volume.Head().Generation(), {}};
    for (auto gap = sectors_.NextGap(0); gap; gap = sectors_.NextGap(gap->first + gap->count)) {
        sectors_.TakeGap(*gap);
        all.runs.push_back(*gap);
    }
    held_.push_back(std::move(all));
}

// Without memory to note them the sectors stay unused until the file is opened again.
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
    Held held{generation, runs};
    held.runs.insert(held.runs.end(), resting_.begin(), resting_.end());
    held_.push_back(std::move(held));
}

void Space::ConfirmHold() noexcept {
    resting_.clear();
    uncertain_ = false;
    sectors_.ForgetRefusal();
}

bool Space::HoldsAll(const std::vector<Run>& runs) const {
    return std::all_of(runs.begin(), runs.end(), [this](const Run& run) {
        const auto gap = sectors_.NextGap(run.first);
        return !gap || gap->first >= run.first + run.count;
    });
}

void Space::ReleaseHeld() {
    while (!held_.empty() && (alone_ || !file_.ReaderOlderThan(held_.front().generation))) {
        for (const Run& run : held_.front().runs) sectors_.Give(run.first, run.count);
        held_.pop_front();
    }
}

}  // namespace lumvex::compound
