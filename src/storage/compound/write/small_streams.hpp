// Small streams in the draft of the next state: their mini sectors and their entries in the mini FAT.
#pragma once

#include <optional>
#include <vector>

#include "storage/compound/write/change.hpp"
#include "storage/compound/write/draft.hpp"

namespace lumvex::compound {

class SmallStreams {
public:
    // known: the free mini sectors of the committed state, where they are known from an earlier commit.
    SmallStreams(Committed& committed, Draft& draft, const std::optional<FreeMap>& known)
        : committed_(committed), draft_(draft), known_(known) {}

    // Writes the content into the mini sectors of the committed stream from oldStart on, which must be as many.
    void Replace(const Change& change, SectorId oldStart);
    void Release(SectorId oldStart);       // frees a committed stream's mini sectors
    SectorId Place(const Change& change);  // into free mini sectors; the first of them
    void Finish();                         // to be called when all are placed

    // Of the next state; none where they did not change.
    std::optional<FreeMap>& FreeMiniSectors() { return free_; }
    const std::optional<FreeMap>& FreeMiniSectors() const { return free_; }

private:
    FreeMap& Free();
    void Write(std::uint32_t first, std::byte* bytes, std::uint32_t count);
    void WriteRun();

    Committed& committed_;
    Draft& draft_;
    const std::optional<FreeMap>& known_;
    std::optional<FreeMap> free_;

    // The run of mini sectors that were placed last, and are not written and not linked yet. Their contents are
    // adjacent in memory too, so that whole new pages of them need no copy.
    std::uint32_t runFirst_ = 0, runCount_ = 0;
    std::byte* runBytes_ = nullptr;
    std::vector<std::uint32_t> chains_;  // the streams in it: how many of the mini sectors each has
};

}  // namespace lumvex::compound
