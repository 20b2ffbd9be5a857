// Which sectors hold the mini stream.
#include <algorithm>
#include <bit>
#include <functional>
#include <numeric>
#include <utility>

#include "storage/compound/format/object_name.hpp"
#include "storage/compound/salvage/mini_stream_search.hpp"

namespace lumvex::compound {

std::uint64_t SalvagedFile::OffsetOfMini(SectorId sector) const {
    const PerPage perPage = MiniSectorsPerPage(shift_);
    const std::uint32_t page = perPage.PageOf(sector);
    if (page >= miniPages_.size() || miniPages_[page] >= sectors_) return Extent::kLost;
    return OffsetOf(miniPages_[page]) + kMiniSectorSize * std::uint64_t{perPage.IndexOf(sector)};
}

// Where in the mini stream objects begin, as the directory and the mini FAT say.
std::vector<SectorId> SalvagedFile::MiniBeginnings() const {
    std::vector<SectorId> beginnings;
    std::vector<bool> follows(miniFat_.next.size());
    for (const SectorId next : miniFat_.next)
        if (IsRegular(next) && next < follows.size()) follows[next] = true;
    for (SectorId mini = 0; mini < follows.size(); ++mini)
        if (!follows[mini] && (IsRegular(miniFat_.next[mini]) || miniFat_.next[mini] == kEndOfChain))
            beginnings.push_back(mini);
    std::unordered_set<SectorId> others;  // streams that are no objects begin in ways of their own
    for (const SalvagedEntry& entry : entries_) {
        if (entry.size == 0 || IsLarge(entry) || entry.standing == SalvagedEntry::Standing::Free) continue;
        if (!IdOfName(entry.name))
            others.insert(entry.start);
        else if (miniFat_.Next(entry.start) == kUnknown && std::uint64_t{entry.start} << kMiniSectorShift < size_)
            beginnings.push_back(entry.start);
    }
    std::erase_if(beginnings, [&](SectorId mini) { return others.contains(mini); });
    return beginnings;
}

// How many of these begin as they should if the mini stream is in adjacent sectors from `start` on.
std::size_t SalvagedFile::MiniHits(SectorId start, const std::vector<SectorId>& beginnings) const {
    constexpr std::size_t kSample = 256;
    std::size_t hits = 0, tried = 0;
    for (const SectorId mini : beginnings) {
        if (BeginsAt(OffsetOf(start) + std::uint64_t{mini} * kMiniSectorSize)) ++hits;
        if (++tried == kSample || (tried == 16 && hits == 0)) break;
    }
    return hits;
}

// How many bytes are the same in both sectors.
std::size_t SalvagedFile::Likeness(SectorId one, SectorId other) const {
    std::vector<std::byte> bytes(std::size_t{1} << shift_), others(bytes.size());
    Read(OffsetOf(one), bytes);
    Read(OffsetOf(other), others);
    return static_cast<std::size_t>(
        std::inner_product(bytes.begin(), bytes.end(), others.begin(), 0, std::plus<>(), std::equal_to<>()));
}

void SalvagedFile::ReadMiniFat(std::uint64_t miniSectors) {
    const std::uint32_t perPage = TableEntriesPerPage(shift_).Count();
    std::vector<Page> pages;
    for (SectorId sector = firstMiniFat_; pages.size() < sectors_ && IsRegular(sector); sector = fat_.Next(sector)) {
        pages.push_back(ReadPage(sector));
        if (!fat_.IsCertain(sector)) break;  // others may fit better
    }
    const std::uint64_t count = std::max<std::uint64_t>(pages.size(), (miniSectors + perPage - 1) / perPage);
    miniFat_.next.assign(static_cast<std::size_t>(count * perPage), kUnknown);
    miniFat_.isListed.assign(miniFat_.next.size(), false);
    for (std::uint32_t index = 0; index < pages.size(); ++index)
        if (!IsMisplaced(pages[index], index) && Looks(pages[index], index * perPage, miniFat_.next.size()))
            Adopt(miniFat_, index, pages[index], true);
    NoteLinks(miniFat_);
    SearchPages(miniFat_, false);
    NoteFollowers(miniFat_, false);
}

// Sectors with which chains begin that nothing owns: no entry of the directory, and neither is it the directory or the
// mini FAT. That of the mini stream is one of them where its own entry, the root, is lost.
std::vector<SectorId> SalvagedFile::UnownedChains() const {
    std::unordered_set<SectorId> owned = miniFatSectors_;
    owned.insert({firstDirectory_, firstMiniFat_});
    for (const std::uint64_t offset : rootOffsets_) owned.insert(static_cast<SectorId>((offset >> shift_) - 1));
    for (const SalvagedEntry& entry : entries_)
        if (entry.size != 0 && IsLarge(entry) && entry.standing >= SalvagedEntry::Standing::Likely)
            owned.insert(entry.start);
    std::vector<SectorId> begins;
    for (SectorId sector = 0; sector < fat_.next.size(); ++sector)
        if ((IsRegular(fat_.next[sector]) || fat_.next[sector] == kEndOfChain) && !fat_.followsCertainly[sector] &&
            !owned.contains(sector))
            begins.push_back(sector);
    return begins;
}

// How many beginnings are where they should be, less those that are not, if the mini stream is the chain from `start`
// on, as far as the FAT says it.
int SalvagedFile::ChainHits(SectorId start, const std::vector<SectorId>& beginnings) const {
    constexpr int kSample = 2048, kFew = 16;
    const PerPage perPage = MiniSectorsPerPage(shift_);
    std::vector<SectorId> pages;
    for (SectorId sector = start; IsRegular(sector) && sector < sectors_ && pages.size() < sectors_;
         sector = fat_.Next(sector))
        pages.push_back(sector);
    int hits = 0, tried = 0;
    for (const SectorId mini : beginnings) {
        const std::uint32_t page = perPage.PageOf(mini);
        if (page >= pages.size()) continue;
        hits += BeginsAt(OffsetOf(pages[page]) + kMiniSectorSize * std::uint64_t{perPage.IndexOf(mini)}) ? 1 : -1;
        if (++tried == kSample || (tried == kFew && hits == -kFew)) break;
    }
    return hits;
}

// Where the mini stream begins, by the streams that begin in it. `isCertain`: the directory that the header leads to
// says it.
std::optional<SectorId> SalvagedFile::MiniStart(const std::vector<SectorId>& beginnings, bool& isCertain) const {
    std::vector<SectorId> candidates;
    isCertain = false;
    for (const Root& root : roots_) {
        if (!IsRegular(root.start)) continue;
        isCertain = root.standing == SalvagedEntry::Standing::Current;
        if (isCertain) return root.start;
        if (!fat_.IsNoBeginning(root.start)) candidates.push_back(root.start);
    }
    const std::vector<SectorId> unowned = UnownedChains();
    candidates.insert(candidates.end(), unowned.begin(), unowned.end());
    std::optional<SectorId> start;
    int best = 1;
    for (const SectorId candidate : candidates) {
        const int hits = std::max(ChainHits(candidate, beginnings), static_cast<int>(MiniHits(candidate, beginnings)));
        if (hits > best) best = hits, start = candidate;
    }
    if (start) return start;
    best = 2;
    for (SectorId sector = 0; sector < sectors_; ++sector) {  // it may be anywhere
        if (fat_.IsNoBeginning(sector)) continue;
        if (const int hits = static_cast<int>(MiniHits(sector, beginnings)); hits > best) best = hits, start = sector;
    }
    return start;
}

void SalvagedFile::FindMiniStream() {
    std::uint64_t minis = 0;  // that entries lead to
    for (const SalvagedEntry& entry : entries_)
        if (!IsLarge(entry) && entry.size != 0 && std::uint64_t{entry.start} << kMiniSectorShift < size_)
            minis = std::max(minis, entry.start + MiniSectorsFor(entry.size));
    for (const Root& root : roots_) minis = std::max(minis, MiniSectorsFor(std::min<std::uint64_t>(root.size, size_)));
    ReadMiniFat(minis);
    const std::vector<SectorId> beginnings = MiniBeginnings();
    for (const SectorId mini : beginnings) minis = std::max<std::uint64_t>(minis, std::uint64_t{mini} + 1);
    minis = std::min(minis, MiniSectorsFor(size_));  // a damaged number must not ask for any amount of pages
    bool isCertain = false;
    const std::optional<SectorId> start = MiniStart(beginnings, isCertain);
    if (!start) return;
    if (*start < fat_.follows.size()) fat_.follows[*start] = true;
    MiniStreamSearch search(*this, beginnings);
    search.Run(*start, SectorsFor(minis << kMiniSectorShift));
    miniPages_ = search.Pages();
    guessedPages_ = search.GuessedPages();
    certainMiniPages_ = isCertain ? search.CertainPages() : 0;
    miniBeginnings_ = beginnings;
    std::ranges::sort(miniBeginnings_);
    unsteady_ = UnsteadyPages();
    for (std::uint32_t page = 0; page < miniPages_.size(); ++page)
        if (!pageOfSector_.emplace(miniPages_[page], page).second || (roots_.size() > 1 && unsteady_[page]))
            disputed_.insert(miniPages_[page]);
}

// Of the pages to which no certain link leads, those that are near one that is not behind the sector of the page before
// it, or in which streams do not begin as they should. Elsewhere, many sectors fit side by side.
std::vector<bool> SalvagedFile::UnsteadyPages() const {
    constexpr std::size_t kNear = 4;
    const PerPage perPage = MiniSectorsPerPage(shift_);
    std::vector<bool> isOdd(miniPages_.size()), unsteady(miniPages_.size());
    for (std::size_t page = 1; page < miniPages_.size(); ++page)
        if (miniPages_[page] != miniPages_[page - 1] + 1) isOdd[page] = true;
    for (const SectorId mini : miniBeginnings_) {
        const std::uint32_t page = perPage.PageOf(mini);
        if (page < isOdd.size() && !BeginsAt(OffsetOfMini(mini))) isOdd[page] = true;
    }
    for (std::size_t page = 0; page < isOdd.size(); ++page)
        for (std::size_t near = page - std::min(page, kNear); isOdd[page] && near <= page + kNear; ++near)
            if (near < unsteady.size() && guessedPages_.contains(near)) unsteady[near] = true;
    return unsteady;
}

}  // namespace lumvex::compound
