// Which sectors, or mini sectors, may be written now: one bit each, handed out from the front.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "storage/compound/format/sector_table.hpp"

namespace lumvex::compound {

class FreeMap {
public:
    // end: sectors there are, all in use. Never hands out `reserved`, and none from `limit` on.
    explicit FreeMap(std::uint32_t end = 0, SectorId reserved = kFreeSector, std::uint32_t limit = kMaxSector);

    std::uint32_t End() const { return end_; }
    std::uint32_t FreeCount() const { return free_; }
    bool Refused() const { return refused_; }  // has anybody asked for sectors beyond the limit?
    void ForgetRefusal() noexcept { refused_ = false; }
    bool IsFree(SectorId sector) const { return (words_[sector / 64] >> (sector % 64) & 1) != 0; }

    // Adjacent sectors: the first gap that is long enough, else at the end, which grows. Throws MediumFull.
    SectorId Take(std::uint32_t count);

    // The same, but in several runs where the file would otherwise be mostly gaps.
    std::vector<Run> TakeRuns(std::uint32_t count);

    // The same for a few sectors, if possible where these pages of the table describe them, as they change anyway and
    // to change another one costs as much as a sector of content does: in a gap there, or at the end of the file where
    // few sectors are free elsewhere. A page describes 1 << perPageShift sectors.
    std::vector<Run> TakeNear(std::uint32_t count, const std::vector<std::uint32_t>& pages, unsigned perPageShift);

    // The next gap from a sector on, cut at most.
    std::optional<Run> NextGap(SectorId from, std::uint32_t most = kFreeSector) const;
    void TakeGap(const Run& gap) { Mark(gap.first, gap.count, false); }

    void Give(SectorId first, std::uint32_t count);

    // The end moves back to `end`; all from there on is free.
    void CutTo(std::uint32_t end);

    // One past the last sector in use.
    std::uint32_t UsedEnd() const;

private:
    SectorId TakeAtEnd(std::uint32_t count);
    void Mark(SectorId first, std::uint32_t count, bool free);

    std::vector<std::uint64_t> words_;  // bit set: free
    std::uint32_t end_;
    std::uint32_t free_ = 0;
    SectorId lowest_ = 0;  // no sector below is free
    SectorId reserved_;
    std::uint32_t limit_;
    bool refused_ = false;
};

}  // namespace lumvex::compound
