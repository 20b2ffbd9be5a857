// The sectors that a writer may write: free in the committed state, and not needed by a reader of an older one.
#pragma once

#include <vector>

#include "storage/compound/read/committed.hpp"
#include "storage/compound/write/free_map.hpp"

namespace lumvex::compound {

// The free sectors among `count` of them, from a FAT or mini FAT of so many pages. reserved and limit: as in FreeMap.
[[nodiscard]] FreeMap ScanFree(Pages& table, std::uint32_t pages, std::uint32_t count, SectorId reserved,
                               std::uint32_t limit);

class Space {
public:
    // alone: nobody else can have the file open. Corrupt where writing to the file would hide damage or do some: where
    // it lacks sectors that are in use, or where the FAT marks sectors of the file's own structures as free.
    Space(Committed& committed, bool alone);

    FreeMap& Sectors() { return sectors_; }

    // Gives back sectors that were written for a state that was not committed. After an uncertain commit the disk may
    // hold that state, so they are not used before the next commit has succeeded.
    void Discard(const std::vector<Run>& runs) noexcept;
    void SetUncertain() { uncertain_ = true; }

    // A commit of this generation frees these runs. Readers may need each of them if they read a generation from the
    // one on in which it was written, and before this one; until none of them is left the run is held. PrepareHold does
    // before the commit point all that can fail; then the hold is confirmed or cancelled.
    void PrepareHold(std::uint32_t generation, const std::vector<Run>& runs);
    void ConfirmHold() noexcept;
    void CancelHold() noexcept { prepared_.clear(); }
    void NoteWritten(std::uint32_t generation, const std::vector<Run>& runs) noexcept;  // after PrepareHold

    bool HoldsAll(const std::vector<Run>& runs) const;  // is none of their sectors given to a writer?
    void ReleaseHeld();                                 // runs that no reader needs any more are free

    // The latest generation that is known of: the committed one, or that of a failed commit whose header a reader has
    // met.
    std::uint32_t LatestGeneration() const { return latest_; }

private:
    struct Held {
        std::uint32_t written = 0, freed = 0;  // generations; written 0: it is not known in which it was written
        std::vector<Run> runs;
    };
    bool IsNeeded(const Held& held) const;
    std::uint32_t WrittenIn(SectorId sector) const { return sector < written_.size() ? written_[sector] : 0; }

    File& file_;
    bool alone_;
    bool uncertain_ = false;
    FreeMap sectors_;
    std::vector<Held> held_, prepared_;
    std::vector<Run> resting_;            // discarded after an uncertain commit
    std::vector<std::uint32_t> written_;  // by sector: the generation, of those written since the file was opened
    std::uint32_t latest_;
};

}  // namespace lumvex::compound
