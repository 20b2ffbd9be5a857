// The sectors a writer may write: free in the committed state, and not needed by a reader of an older one.
#pragma once

#include <vector>

#include "storage/compound/read/committed.hpp"
#include "storage/compound/write/free_map.hpp"

namespace lumvex::compound {

// The free sectors of a table (FAT or mini FAT) that describes `count` of them; pages: how many the table has. reserved
// and limit as in FreeMap.
[[nodiscard]] FreeMap ScanFree(Pages& table, std::uint32_t pages, std::uint32_t count, SectorId reserved,
                               std::uint32_t limit);

class Space {
public:
    // alone: nobody else can have the file open. Corrupt where writing to the file would hide or do damage: it lacks
    // sectors that are in use, or has its own structures in sectors that count as free.
    Space(Committed& committed, bool alone);

    FreeMap& Sectors() { return sectors_; }

    // Sectors that were written for a state that never came. After an uncertain commit the disk may hold that state, so
    // they rest until the next one.
    void Discard(const std::vector<Run>& runs) noexcept;
    void SetUncertain() { uncertain_ = true; }

    // A commit frees these runs; readers of generations before its own may need them, from that on in which they were
    // written. Prepared before the commit point, so that nothing is left to fail behind it; then confirmed or cancelled.
    void PrepareHold(std::uint32_t generation, const std::vector<Run>& runs);
    void ConfirmHold() noexcept;
    void CancelHold() noexcept { prepared_.clear(); }
    void NoteWritten(std::uint32_t generation, const std::vector<Run>& runs) noexcept;  // after PrepareHold

    bool HoldsAll(const std::vector<Run>& runs) const;  // none of these can be written
    void ReleaseHeld();  // brings in what no reader needs any more

    // The latest generation that is known of: the committed one, or one of a save that failed, but that a reader met.
    std::uint32_t LatestGeneration() const { return latest_; }

private:
    struct Held {
        std::uint32_t written = 0, freed = 0;  // generations; written 0: not known
        std::vector<Run> runs;
    };
    bool IsNeeded(const Held& held) const;
    std::uint32_t WrittenIn(SectorId sector) const { return sector < written_.size() ? written_[sector] : 0; }

    File& file_;
    bool alone_;
    bool uncertain_ = false;
    FreeMap sectors_;
    std::vector<Held> held_, prepared_;
    std::vector<Run> resting_;
    std::vector<std::uint32_t> written_;  // by sector: the generation, of those written since the file was opened
    std::uint32_t latest_;
};

}  // namespace lumvex::compound
