// Small streams in the draft of the next state: their mini sectors and their entries in the mini FAT.
#pragma once

#include <optional>

#include "storage/compound/write/draft.hpp"
#include "storage/compound/write/pending.hpp"

namespace lumvex::compound {

class SmallStreams {
public:
    // known: the free mini sectors of the committed state, where they are known from an earlier commit.
    SmallStreams(Committed& committed, Draft& draft, const std::optional<FreeMap>& known)
        : committed_(committed), draft_(draft), known_(known) {}

    // Content of as many mini sectors takes the place of what stands there.
    void Replace(const Change& change, SectorId oldStart);
    void Release(SectorId oldStart);
    SectorId Place(const Change& change);
    void Finish();  // when all are placed

    std::optional<FreeMap>& FreeMiniSectors() { return free_; }  // of the next state; none where they stay the same

private:
    FreeMap& Free();
    void Write(std::uint32_t first, std::byte* bytes, std::uint32_t count);
    void WriteGathered();

    Committed& committed_;
    Draft& draft_;
    const std::optional<FreeMap>& known_;
    std::optional<FreeMap> free_;

    // Placed content that is adjacent in memory as well as in the mini stream; where it fills whole new pages it is not
    // copied.
    std::uint32_t gatheredFirst_ = 0, gatheredCount_ = 0;
    std::byte* gathered_ = nullptr;
};

[[nodiscard]] inline std::uint32_t MiniSectors(std::uint64_t size) {
    return static_cast<std::uint32_t>((size + kMiniSectorSize - 1) >> kMiniSectorShift);
}

}  // namespace lumvex::compound
