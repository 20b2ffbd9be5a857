// Which sectors (or mini sectors) are free to be written: one bit for each. Those at the front of the file are given
// first.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "storage/compound/format/sector_table.hpp"

namespace lumvex::compound {

class FreeMap {
public:
    // end: the number of sectors, all of them in use at first. Never gives the sector `reserved`, nor any from `limit`
    // on.
    explicit FreeMap(std::uint32_t end = 0, SectorId reserved = kFreeSector, std::uint32_t limit = kMaxSector);

    std::uint32_t End() const { return end_; }
    std::uint32_t FreeCount() const { return free_; }
    bool Refused() const { return refused_; }  // has anybody asked for sectors beyond the limit?
    void ForgetRefusal() noexcept { refused_ = false; }
    bool IsFree(SectorId sector) const { return (words_[sector / 64] >> (sector % 64) & 1) != 0; }

    // Adjacent sectors: those of the first gap that is long enough, or else at the end, which moves. Throws MediumFull.
    SectorId Take(std::uint32_t count);

    // Also fills gaps with several runs where more than half of the file is free.
    std::vector<Run> TakeRuns(std::uint32_t count);

    // A few sectors, if possible such that these pages of the FAT hold their entries. These pages change anyway, while
    // changing another one costs as much as writing a sector of content. So: in a gap there; or at the end of the file
    // if one of the pages holds the entries there and few sectors are free elsewhere.
    std::vector<Run> TakeNear(std::uint32_t count, const std::vector<std::uint32_t>& pages, PerPage entriesPerPage);

    // The next gap from a sector on, or the first `most` sectors of it.
    std::optional<Run> NextGap(SectorId from, std::uint32_t most = kFreeSector) const;
    void TakeGap(const Run& gap) { Mark(gap.first, gap.count, false); }

    void Give(SectorId first, std::uint32_t count);

    // From now on no sector before `first` is given, even if it is free or becomes so.
    void KeepFront(SectorId first);

    // Moves the end back; all sectors from there on must be free.
    void CutTo(std::uint32_t end);

    // One past the last sector in use.
    std::uint32_t UsedEnd() const;

private:
    SectorId TakeAtEnd(std::uint32_t count);
    void Mark(SectorId first, std::uint32_t count, bool free);

    std::vector<std::uint64_t> words_;  // bit set: free
    std::uint32_t end_;
    std::uint32_t free_ = 0;
    SectorId front_ = 0;   // no sector below is given
    SectorId lowest_ = 0;  // no sector below is free
    SectorId reserved_;
    std::uint32_t limit_;
    bool refused_ = false;
};

}  // namespace lumvex::compound
