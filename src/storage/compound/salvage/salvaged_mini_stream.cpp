// Which sectors hold the mini stream.
#include <algorithm>
#include <bit>
#include <functional>
#include <numeric>
#include <utility>

#include "storage/compound/format/object_name.hpp"
#include "storage/compound/salvage/salvaged_file.hpp"

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

// The sectors of the mini stream. Where the FAT does not say which one is next, it is the one in which streams begin at
// the places at which the directory says so; the next one in the file, where that fits.
std::vector<SectorId> SalvagedFile::MiniPages(SectorId start, std::uint64_t count,
                                              const std::vector<SectorId>& beginnings) {
    constexpr std::uint32_t kRun = 64;             // pages
    constexpr std::size_t kMostTries = 1'000'000;  // runs that are looked at; some seconds
    const PerPage perPage = MiniSectorsPerPage(shift_);
    using Places = std::uint64_t;  // a bit for each mini sector of a page
    std::unordered_map<std::uint32_t, Places> expected;
    for (const SectorId mini : beginnings) expected[perPage.PageOf(mini)] |= Places{1} << perPage.IndexOf(mini);
    std::unordered_map<SectorId, Places> known;
    const auto placesIn = [&](SectorId sector) {
        const auto [found, isNew] = known.try_emplace(sector, 0);
        for (std::uint32_t at = 0; isNew && sector < sectors_ && at < perPage.Count(); ++at)
            if (BeginsAt(OffsetOf(sector) + at * kMiniSectorSize)) found->second |= Places{1} << at;
        return found->second;
    };
    // Streams end in zeros: of which mini sectors of a page this is known, and after how many bytes.
    std::unordered_map<std::uint32_t, std::vector<std::pair<std::uint32_t, std::size_t>>> ends;
    const bool hasCurrent = std::ranges::any_of(
        entries_, [](const SalvagedEntry& entry) { return entry.standing >= SalvagedEntry::Standing::Likely; });
    for (const SalvagedEntry& entry : entries_) {
        if (IsLarge(entry) || entry.size % kMiniSectorSize == 0 || entry.start >= MiniSectorsFor(size_)) continue;
        if (hasCurrent && entry.standing < SalvagedEntry::Standing::Likely) continue;
        SectorId mini = entry.start;
        for (std::uint64_t left = MiniSectorsFor(entry.size); left > 1; --left)
            mini = IsRegular(miniFat_.Next(mini)) ? miniFat_.Next(mini) : mini + 1;
        ends[perPage.PageOf(mini)].emplace_back(perPage.IndexOf(mini), entry.size % kMiniSectorSize);
    }
    std::unordered_map<SectorId, std::vector<std::uint8_t>> lengths;  // of what is not zero in each mini sector
    const auto pointsOfEnds = [&](std::uint32_t page, SectorId sector) {
        const auto ending = ends.find(page);
        if (ending == ends.end() || sector >= sectors_ || placesIn(sector) == 0) return 0;
        const auto [found, isNew] = lengths.try_emplace(sector);
        if (isNew) {
            std::vector<std::byte> bytes(std::size_t{1} << shift_);
            Read(OffsetOf(sector), bytes);
            found->second.resize(perPage.Count());
            for (std::size_t at = 0; at < bytes.size(); ++at)
                if (bytes[at] != std::byte{0})
                    found->second[at / kMiniSectorSize] = static_cast<std::uint8_t>(at % kMiniSectorSize + 1);
        }
        int points = 0;
        for (const auto& [index, length] : ending->second) points += found->second[index] <= length ? 1 : -2;
        return points;
    };
    const auto fit = [&](std::uint32_t page, Places wanted, Places there) {
        if (there == 0 && wanted != 0) return -3;  // it may have been overwritten
        Places unwanted = there & ~wanted;  // where the mini FAT is lost, streams may begin of which nothing is known
        for (std::uint32_t at = 0; unwanted != 0 && at < perPage.Count(); ++at)
            if (miniFat_.Next((page << perPage.Shift()) + at) == kUnknown) unwanted &= ~(Places{1} << at);
        return 2 * std::popcount(wanted & there) - 3 * std::popcount(wanted & ~there) - std::popcount(unwanted);
    };
    // How well a page and those behind it fit the sectors from one on, and where in them the first beginnings are
    // expected.
    struct Run {
        int points = 0;
        bool hasAll = true;
        std::uint32_t first = kRun;
    };
    const auto runAt = [&](std::uint32_t page, SectorId sector) {
        Run run;
        int points = 0;
        bool isChain = true;  // as far as the FAT says it; what is beside its end may be something else
        for (std::uint32_t at = 0; at < kRun && IsRegular(sector); ++at) {
            if (const auto wanted = expected.find(page + at); wanted != expected.end()) {
                run.first = std::min(run.first, at);
                const Places there = placesIn(sector);
                points += fit(page + at, wanted->second, there) + pointsOfEnds(page + at, sector);
                run.points = isChain ? points : std::max(run.points, points);
                run.hasAll = run.hasAll && (wanted->second & ~there) == 0;
            }
            const SectorId next = fat_.Next(sector);
            if (!IsRegular(next)) isChain = isChain && at == 0 && run.first == kRun;
            sector = IsRegular(next) ? next : sector + 1;
        }
        return run;
    };
    std::vector<SectorId> holders;  // sectors in which streams begin
    bool haveHolders = false;
    std::size_t tries = kMostTries;
    std::unordered_set<SectorId> used;
    const auto best = [&](std::uint32_t page, SectorId guess) {
        const Run run = runAt(page, guess);
        if (run.hasAll || tries == 0) return guess;
        if (!std::exchange(haveHolders, true))
            for (SectorId sector = 0; sector < sectors_; ++sector)
                if (fat_.Next(sector) != kFreeSector && placesIn(sector) != 0) holders.push_back(sector);
        int points = run.points + 1;  // where others are as good, the next sector it is
        SectorId chosen = guess;
        for (const SectorId holder : holders) {
            if (holder < run.first || used.contains(holder - run.first)) continue;
            if (tries == 0) break;
            --tries;
            const SectorId begin = holder - run.first;
            const int other = runAt(page, begin).points;
            // It is none of those that come later where nothing is missing between.
            const bool isLater =
                other > points && begin > guess && runAt(page + (begin - guess), begin).points >= other;
            if (other > points && !isLater) points = other, chosen = begin;
        }
        return chosen;
    };
    std::vector<SectorId> pages;
    SectorId sector = start;
    bool isKnown = true;
    for (std::uint32_t page = 0; page < count && IsRegular(sector); ++page) {
        if (!isKnown) sector = best(page, sector);
        if (isKnown && certainMiniPages_ == page) ++certainMiniPages_;
        pages.push_back(sector);
        used.insert(sector);
        const SectorId next = fat_.Next(sector);
        isKnown = fat_.IsCertain(sector);
        if (!isKnown) guessedPages_.insert(page + 1);
        if (IsRegular(next) && next < fat_.next.size()) {
            sector = next;
            continue;
        }
        for (++sector; fat_.IsTaken(sector); ++sector) {
        }
    }
    // A chain of the FAT that is in use and to which nothing leads is a part of the mini stream where its beginnings
    // are those of pages that do not follow for certain; where there are several such, of those that it resembles most.
    const auto points = [&](const std::vector<SectorId>& chain, std::size_t first) {
        int sum = 0;
        for (std::size_t at = 0; at < chain.size(); ++at) {
            const auto wanted = expected.find(static_cast<std::uint32_t>(first + at));
            if (wanted == expected.end()) continue;
            const Places there = placesIn(chain[at]);
            if ((wanted->second & ~there) != 0) return 0;
            sum += std::popcount(wanted->second);
        }
        return sum;
    };
    for (const SectorId begin : UnownedChains()) {
        if (used.contains(begin) || !fat_.isListed[begin] || tries == 0) continue;
        std::vector<SectorId> chain{begin};
        while (chain.size() < pages.size() && fat_.IsCertain(chain.back())) chain.push_back(fat_.Next(chain.back()));
        std::pair<std::size_t, int> most{0, 0};
        std::size_t chosen = 0;
        for (std::size_t page = std::max(1u, certainMiniPages_); page + chain.size() <= pages.size(); ++page) {
            if (fat_.IsCertain(pages[page - 1]) || tries == 0) continue;
            --tries;
            const int sum = points(chain, page);
            if (sum == 0) continue;
            if (const std::pair likeness{Likeness(begin, pages[page]), sum}; likeness > most)
                most = likeness, chosen = page;
        }
        if (chosen == 0) continue;
        std::ranges::copy(chain, pages.begin() + static_cast<std::ptrdiff_t>(chosen));
        guessedPages_.erase(chosen);
        used.insert(chain.begin(), chain.end());
    }
    return pages;
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
        if (Looks(pages[index], index * perPage, miniFat_.next.size())) Adopt(miniFat_, index, pages[index], true);
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
    miniPages_ = MiniPages(*start, SectorsFor(minis << kMiniSectorShift), beginnings);
    if (!isCertain) certainMiniPages_ = 0;
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

void SalvagedFile::NoteUnowned() {
    for (const SectorId begin : UnownedChains()) {
        if (pageOfSector_.contains(begin) || (!fat_.isListed[begin] && fat_.follows[begin])) continue;
        SectorId sector = begin;
        std::uint64_t length = 0;
        for (; sector < fat_.next.size() && (fat_.isListed[sector] || roots_.size() > 1); sector = fat_.next[sector])
            if (++length > fat_.next.size()) break;
        if (sector == kEndOfChain) unowned_.emplace(length, begin);
    }
}

}  // namespace lumvex::compound
