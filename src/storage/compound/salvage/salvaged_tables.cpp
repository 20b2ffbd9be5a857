// Pages of the FAT and of the mini FAT, wherever they are.
#include <algorithm>
#include <utility>

#include "storage/compound/salvage/salvaged_file.hpp"

namespace lumvex::compound {

bool SalvagedFile::Table::IsTaken(SectorId sector) const {
    if (sector >= next.size()) return false;
    return follows[sector] || next[sector] == kFreeSector || next[sector] == kFatSector || next[sector] == kDifatSector;
}

SalvagedFile::Page SalvagedFile::ReadPage(SectorId sector) const {
    Page page;
    std::vector<std::byte> bytes(std::size_t{1} << shift_);
    if (!IsRegular(sector) || sector >= sectors_ || !Read(OffsetOf(sector), bytes)) return page;
    page.resize(bytes.size() / sizeof(SectorId));
    for (std::uint32_t at = 0; at < page.size(); ++at) page[at] = TableEntry(bytes.data(), at);
    return page;
}

// May the numbers be those of a page whose first sector is `first`? Marks single ones that cannot be as unknown, and
// of two that are the same both: one of them is damaged, and nothing here tells which.
bool SalvagedFile::Looks(Page& page, std::uint32_t first, std::uint64_t limit) {
    std::unordered_map<SectorId, std::uint32_t> named;  // where in the page
    std::size_t bad = 0;
    for (std::uint32_t at = 0; at < page.size(); ++at) {
        const SectorId next = page[at];
        if (next >= kDifatSector) continue;
        if (IsRegular(next) && next < limit && next != first + at) {
            const auto [other, isNew] = named.emplace(next, at);
            if (isNew) continue;
            page[other->second] = kUnknown;
        }
        page[at] = kUnknown;
        ++bad;
    }
    return !page.empty() && 8 * bad <= page.size();
}

std::vector<SectorId> SalvagedFile::ListedFatPages(const Header& header) const {
    std::vector<SectorId> listed;
    const std::uint32_t perPage = TableEntriesPerPage(shift_).Count();
    // A damaged header may claim any number of pages. There cannot be more than the file has sectors.
    const std::uint64_t most = std::min<std::uint64_t>(header.FatSectors(), sectors_ + kDifatInHeader);
    for (std::size_t at = 0; at < kDifatInHeader && listed.size() < most; ++at) listed.push_back(header.Difat(at));
    SectorId sector = header.FirstDifat();
    for (std::uint64_t steps = 0; listed.size() < most && steps < most; ++steps) {
        const Page page = ReadPage(sector);
        for (std::uint32_t at = 0; at + 1 < perPage && listed.size() < most; ++at)
            listed.push_back(at < page.size() ? page[at] : kUnknown);
        sector = page.empty() ? kUnknown : page.back();
    }
    return listed;
}

// A page that was found by its content may be one of an older state: sectors that were free then may be in use now.
void SalvagedFile::Adopt(Table& table, std::uint32_t index, const Page& page, bool isListed) {
    for (std::size_t at = 0; at < page.size(); ++at) {
        const std::size_t sector = std::size_t{index} * page.size() + at;
        if (sector >= table.next.size()) return;
        table.next[sector] = !isListed && page[at] == kFreeSector ? kUnknown : page[at];
        table.isListed[sector] = isListed;
    }
}

// How well a page agrees with the directory: streams that begin in it and whose chain ends after their length.
int SalvagedFile::Fits(const Page& page, std::uint32_t first, bool large) const {
    int fits = 0;
    for (const SalvagedEntry& entry : entries_) {
        if (entry.size == 0 || IsLarge(entry) != large || entry.start < first || entry.start - first >= page.size())
            continue;
        std::uint64_t left = large ? SectorsFor(entry.size) : MiniSectorsFor(entry.size);
        SectorId sector = entry.start;
        while (left > 0 && IsRegular(sector) && sector >= first && sector - first < page.size())
            sector = page[sector - first], --left;
        const bool isSure = entry.standing == SalvagedEntry::Standing::Current;
        if (left == 0) fits += sector == kEndOfChain ? (isSure ? 4 : 1) : (isSure ? -4 : -1);
        if (left > 0 && !IsRegular(sector)) fits -= isSure ? 4 : 1;
    }
    return fits;
}

// How well a page that was found agrees with what was listed, which pages of older states do not: with the places of
// the FAT itself, of the directory and of the mini FAT, and with links of listed pages into this one and back.
int SalvagedFile::Agreement(const Table& table, const Page& page, std::uint32_t first) const {
    constexpr int kPoints = 4;
    int points = 0;
    const bool mayBeFat = &table == &fat_ && !listedFat_.empty();
    for (std::uint32_t index = 0; index < page.size(); ++index) {
        const SectorId sector = first + index, next = page[index];
        if (const bool isFat = next == kFatSector, isListed = listedFat_.contains(sector);
            mayBeFat && isFat != isListed)
            points -= kPoints;
        else if (mayBeFat && isFat)
            points += kPoints;
        if (mayBeFat && (sector == firstDirectory_ || sector == firstMiniFat_) && next == kFreeSector)
            points -= kPoints;
        if (sector < table.followsCertainly.size() && table.followsCertainly[sector])
            points += next == kFreeSector ? -kPoints : 1;
        if (IsRegular(next) && table.IsNoBeginning(next)) points -= kPoints;
    }
    return points;
}

// Most streams are in adjacent sectors, so that most numbers of a page are one more than their place in the table,
// which tells the page's own place: how many numbers say which.
std::map<std::uint32_t, std::size_t> SalvagedFile::PlacesOf(const Page& page) {
    std::map<std::uint32_t, std::size_t> votes;
    for (std::uint32_t at = 0; at < page.size(); ++at)
        if (IsRegular(page[at]) && page[at] > at && (page[at] - 1 - at) % page.size() == 0)
            ++votes[static_cast<std::uint32_t>((page[at] - 1 - at) / page.size())];
    return votes;
}

// Another page of the table may have come to a page's place.
bool SalvagedFile::IsMisplaced(const Page& page, std::uint32_t index) {
    constexpr std::size_t kSure = 8;
    auto votes = PlacesOf(page);
    const std::size_t own = votes[index];
    return std::ranges::any_of(votes, [&](const auto& each) { return each.second >= kSure && each.second > 4 * own; });
}

// Pages that nothing leads to.
void SalvagedFile::SearchPages(Table& table, bool large) {
    const auto perPage = static_cast<std::uint32_t>(std::size_t{1} << (shift_ - 2));
    std::unordered_set<std::uint32_t> missing;
    for (std::uint32_t index = 0; index * std::size_t{perPage} < table.next.size(); ++index) {
        const auto begin = table.next.begin() + std::ptrdiff_t(index * std::size_t{perPage});
        if (std::all_of(begin, begin + perPage, [](SectorId next) { return next == kUnknown; })) missing.insert(index);
    }
    if (missing.empty()) return;
    struct Found {
        int points;
        SectorId sector;
        Page page;
    };
    std::map<std::uint32_t, Found> best;
    for (SectorId sector = 0; sector < sectors_; ++sector) {
        const Page page = ReadPage(sector);
        for (const auto& [index, count] : PlacesOf(page)) {
            if (count < 4 || !missing.contains(index)) continue;
            Page candidate = page;
            if (!Looks(candidate, index * perPage, table.next.size())) continue;
            const int fits = Fits(candidate, index * perPage, large);
            if (fits <= 0) continue;
            const int points =
                2 * (fits + Agreement(table, candidate, index * perPage)) - (fat_.IsCertainlyFree(sector) ? 1 : 0);
            const auto found = best.find(index);
            if (found == best.end() || points >= found->second.points)
                best.insert_or_assign(index, Found{points, sector, std::move(candidate)});
        }
    }
    for (const auto& [index, found] : best) {
        Adopt(table, index, found.page, false);
        if (!large) miniFatSectors_.insert(found.sector);
    }
}

// Links to a sector that another one leads to as well, or that is free, are not certain: one of the entries is damaged.
void SalvagedFile::NoteLinks(Table& table) {
    std::vector<SectorId> before(table.next.size(), kUnknown);
    for (SectorId sector = 0; sector < table.next.size(); ++sector) {
        const SectorId next = table.next[sector];
        if (!table.isListed[sector] || !IsRegular(next) || next >= before.size()) continue;
        if (const SectorId other = std::exchange(before[next], sector); other != kUnknown)
            table.isListed[sector] = table.isListed[other] = false;
        if (table.IsCertainlyFree(next)) table.isListed[sector] = table.isListed[next] = false;
    }
    table.follows.assign(table.next.size(), false);
    table.followsCertainly.assign(table.next.size(), false);
    for (SectorId sector = 0; sector < table.next.size(); ++sector) {
        const SectorId next = table.next[sector];
        if (!IsRegular(next) || next >= table.follows.size()) continue;
        table.follows[next] = true;
        if (table.isListed[sector]) table.followsCertainly[next] = true;
    }
}

void SalvagedFile::NoteFollowers(Table& table, bool large) {
    NoteLinks(table);
    for (const SalvagedEntry& entry : entries_)
        if (entry.size != 0 && IsLarge(entry) == large && entry.start < table.follows.size() &&
            entry.standing != SalvagedEntry::Standing::Free)
            table.follows[entry.start] = true;
}

}  // namespace lumvex::compound
