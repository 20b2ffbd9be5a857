#include "storage/compound/format/sector_table.hpp"

#include <algorithm>
#include <limits>

#include "storage/compound/base/error.hpp"

namespace lumvex::compound {

namespace {

constexpr std::uint32_t kBlock = 16;

// Of so many entries, how many whole blocks from the first on hold value, value + 1, value + 2 and so on: their
// entries. Apart, as most streams are shorter than one block.
[[gnu::noinline]] std::uint32_t CountInBlocks(const std::byte* entries, std::uint32_t count, std::uint32_t value) {
    std::uint32_t done = 0;
    for (; done + kBlock <= count;
         done += kBlock) {  // the body has no branch, so that the compiler makes vector code of it
        std::uint32_t difference = 0;
        for (std::uint32_t i = 0; i < kBlock; ++i)
            difference |= Load32(entries + 4 * std::size_t{done + i}) ^ (value + done + i);
        if (difference != 0) break;
    }
    return done;
}

// How many entries from the first on hold value, value + 1, value + 2 and so on.
std::uint32_t CountConsecutive(const std::byte* entries, std::uint32_t count, std::uint32_t value) {
    std::uint32_t done = count < kBlock ? 0 : CountInBlocks(entries, count, value);
    while (done < count && Load32(entries + 4 * std::size_t{done}) == value + done) ++done;
    return done;
}

}  // namespace

SectorId SectorTable::Next(SectorId sector) {
    if (sector >= limit_) throw Corrupt("a chain reaches sector ", sector, " of ", limit_);
    const PerPage entries = TableEntriesPerPage(pages_->Shift());
    return Load32(pages_->PartOnce(entries.PageOf(sector), 4 * std::size_t{entries.IndexOf(sector)}, 4));
}

std::uint32_t SectorTable::CountAdjacent(SectorId first, std::uint32_t most) {
    if (first >= limit_) throw Corrupt("a chain reaches sector ", first, " of ", limit_);
    const PerPage perPage = TableEntriesPerPage(pages_->Shift());
    most = std::min(most, limit_ - first);
    std::uint32_t links = 0;  // entries that hold the sector after their own
    while (links + 1 < most) {
        const SectorId at = first + links;
        const std::uint32_t inPage = perPage.IndexOf(at);
        const std::uint32_t available = std::min(perPage.Count() - inPage, most - 1 - links);
        const std::byte* entries =
            pages_->PartOnce(perPage.PageOf(at), 4 * std::size_t{inPage}, 4 * std::size_t{available});
        const std::uint32_t found = CountConsecutive(entries, available, at + 1);
        links += found;
        if (found < available) break;
    }
    return links + 1;
}

SectorTable::Stretch SectorTable::StretchFrom(SectorId first, std::uint32_t most) {
    const std::uint32_t count = CountAdjacent(first, most);
    return {count, Next(first + count - 1)};
}

std::optional<Chain::Place> Chain::Find(SectorTable& table, std::uint32_t index, std::uint32_t wanted) {
    const std::uint64_t until = std::uint64_t{index} + std::max(wanted, 1u);
    while (known_ < until)
        if (!Explore(table, static_cast<std::uint32_t>(std::min<std::uint64_t>(until - known_, table.Limit())))) break;
    if (index >= known_) return std::nullopt;
    const Run& last = runs_.back();
    const Run& run = index < last.index ? RunAt(runs_, index) : last;
    const std::uint32_t into = index - run.index;
    return Place{run.first + into, std::min(run.count - into, std::max(wanted, 1u))};
}

bool Chain::Explore(SectorTable& table, std::uint32_t wanted) {
    if (next_ == kEndOfChain) return false;
    if (next_ > kMaxSector) throw Corrupt("a chain from sector ", first_, " leads to a sector marked ", next_);
    const SectorTable::Stretch found = table.StretchFrom(next_, wanted);
    if (found.count > table.Limit() - known_)
        throw Corrupt("a chain from sector ", first_, " is longer than the ", table.Limit(), " sectors there are");
    if (!runs_.empty() && runs_.back().first + runs_.back().count == next_)
        runs_.back().count += found.count;
    else
        runs_.push_back({known_, next_, found.count});
    known_ += found.count;
    next_ = found.next;
    return true;
}

const std::vector<Run>& Chain::Runs(SectorTable& table) {
    while (Explore(table, std::numeric_limits<std::uint32_t>::max())) {
    }
    return runs_;
}

std::uint32_t Chain::Length(SectorTable& table) {
    Runs(table);
    return known_;
}

const Run& RunAt(const std::vector<Run>& runs, std::uint32_t index) {
    const auto isAfter = [](std::uint32_t value, const Run& at) { return value < at.index; };
    return *(std::upper_bound(runs.begin(), runs.end(), index, isAfter) - 1);
}

std::uint32_t UsedEnd(Pages& table, std::uint32_t pages) {
    const std::uint32_t perPage = TableEntriesPerPage(table.Shift()).Count();
    for (std::uint32_t page = pages; page-- > 0;) {
        const std::byte* entries = table.Page(page);
        for (std::uint32_t i = perPage; i-- > 0;)
            if (TableEntry(entries, i) != kFreeSector) {
                const std::uint64_t end = std::uint64_t{page} * perPage + i + 1;
                return static_cast<std::uint32_t>(std::min<std::uint64_t>(end, kMaxSector));
            }
    }
    return 0;
}

}  // namespace lumvex::compound
