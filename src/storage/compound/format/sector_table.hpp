// The FAT and the mini FAT, which hold for every sector the next one of its chain; and the chains themselves, which are
// followed run by run and only as far as somebody asks. Every walk along a chain goes through here, so that loops and
// numbers out of range are found in one place.
#pragma once

#include <optional>
#include <vector>

#include "storage/compound/format/format.hpp"
#include "storage/compound/format/pages.hpp"

namespace lumvex::compound {

// Sectors that are adjacent in the file and follow each other in a chain.
struct Run {
    std::uint32_t index;  // of the first one in its chain
    SectorId first;
    std::uint32_t count;
};

class SectorTable {
public:
    // Sectors from limit on are out of range.
    SectorTable(Pages& pages, std::uint32_t limit) : pages_(&pages), limit_(limit) {}

    std::uint32_t Limit() const { return limit_; }
    void SetLimit(std::uint32_t limit) { limit_ = limit; }

    SectorId Next(SectorId sector);  // Corrupt out of range

    // The sectors from first on, at most `most` of them, that are adjacent in the file and follow each other in a
    // chain: how many there are, and what follows the last of them in the chain.
    struct Stretch {
        std::uint32_t count;
        SectorId next;
    };
    Stretch StretchFrom(SectorId first, std::uint32_t most);
    std::uint32_t CountAdjacent(SectorId first, std::uint32_t most);  // the count alone

    // The same, of a few sectors whose entries are in the page that was asked for last: do all of them follow each
    // other? Where this is false, CountAdjacent may still say so.
    bool AreKnownAdjacent(SectorId first, std::uint32_t count) const {
        const PerPage perPage = TableEntriesPerPage(pages_->Shift());
        const std::uint32_t firstInPage = perPage.IndexOf(first);
        if (first >= limit_ || count > limit_ - first || firstInPage + count > perPage.Count()) return false;
        const std::byte* const page = pages_->PageAtHand(perPage.PageOf(first));
        if (page == nullptr) return false;
        const std::byte* const entries = page + 4 * std::size_t{firstInPage};
        std::uint32_t links = 1;
        while (links < count && Load32(entries + 4 * std::size_t{links - 1}) == first + links) ++links;
        return links >= count;
    }

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
        std::uint32_t adjacent;  // so many from this one on are known to be adjacent; at most what was wanted
    };
    // The sector at an index of the chain; none where the chain ends before. wanted: how many from index on the caller
    // is going to use.
    std::optional<Place> Find(SectorTable& table, std::uint32_t index, std::uint32_t wanted = 1);

    std::uint32_t Length(SectorTable& table);          // in sectors; walks the whole chain
    const std::vector<Run>& Runs(SectorTable& table);  // walks the whole chain

private:
    bool Explore(SectorTable& table, std::uint32_t wanted);  // finds one more run; false at the end

    SectorId first_, next_;    // next_: the first sector that was not reached yet
    std::uint32_t known_ = 0;  // sectors that were reached
    std::vector<Run> runs_;    // these sectors
};

// The run that an index falls into, of runs without a gap between their indices, of which the first begins at or before
// it.
[[nodiscard]] const Run& RunAt(const std::vector<Run>& runs, std::uint32_t index);

// One past the last sector that the first so many pages of a table mark as used.
[[nodiscard]] std::uint32_t UsedEnd(Pages& table, std::uint32_t pages);

}  // namespace lumvex::compound
