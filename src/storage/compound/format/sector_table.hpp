// The FAT and the mini FAT: for every sector the next one of its chain; and the chains themselves, found run by run and
// only as far as they are asked for. The loop and range checks of every chain walk stand here alone.
#pragma once

#include <optional>
#include <vector>

#include "storage/compound/format/format.hpp"
#include "storage/compound/format/pages.hpp"

namespace lumvex::compound {

// Sectors that stand next to each other in the file and follow each other in a chain.
struct Run {
    std::uint32_t index;  // of the first one in its chain
    SectorId first;
    std::uint32_t count;
};

class SectorTable {
public:
    // Entries from limit on are out of range.
    SectorTable(Pages& pages, std::uint32_t limit) : pages_(&pages), limit_(limit) {}

    std::uint32_t Limit() const { return limit_; }
    void SetLimit(std::uint32_t limit) { limit_ = limit; }

    SectorId Next(SectorId sector);  // Corrupt out of range

    // How many sectors from first on (at most most) follow each other both in the file and in the chain, and what
    // follows the last of them.
    struct Stretch {
        std::uint32_t count;
        SectorId next;
    };
    Stretch StretchFrom(SectorId first, std::uint32_t most);

private:
    Pages* pages_;
    std::uint32_t limit_;
};

class Chain {
public:
    explicit Chain(SectorId first = kEndOfChain) : first_(first), next_(first) {}

    SectorId First() const { return first_; }

    struct Place {
        SectorId sector;
        std::uint32_t adjacent;  // sectors known to stand and follow there, this one included; at most what was wanted
    };
    // None where the chain ends before index. wanted: how many sectors from index on are of interest.
    std::optional<Place> Find(SectorTable& table, std::uint32_t index, std::uint32_t wanted = 1);

    std::uint32_t Length(SectorTable& table);          // walks the whole chain
    const std::vector<Run>& Runs(SectorTable& table);  // the same

private:
    bool Explore(SectorTable& table, std::uint32_t wanted);  // finds one more run; false at the end

    SectorId first_, next_;    // next_: where the part that is not known yet begins
    std::uint32_t known_ = 0;  // sectors in runs_
    std::vector<Run> runs_;
};

}  // namespace lumvex::compound
