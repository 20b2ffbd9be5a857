#include "storage/compound/salvage/mini_stream_search.hpp"

#include <algorithm>
#include <bit>
#include <tuple>

#include "storage/compound/base/stable_sort.hpp"

namespace lumvex::compound {

SalvagedFile::MiniStreamSearch::MiniStreamSearch(const SalvagedFile& file, const std::vector<SectorId>& beginnings)
    : file_(file), perPage_(MiniSectorsPerPage(file.shift_)) {
    for (const SectorId mini : beginnings) expected_[perPage_.PageOf(mini)] |= Places{1} << perPage_.IndexOf(mini);
    NoteEnds();
}

void SalvagedFile::MiniStreamSearch::Run(SectorId start, std::uint64_t count) {
    Walk(start, count);
    PutUnowned();
    Rearrange();
}

// Entries of older states count where there are no current ones.
void SalvagedFile::MiniStreamSearch::NoteEnds() {
    const auto isCurrent = [](const SalvagedEntry& entry) { return entry.standing >= SalvagedEntry::Standing::Likely; };
    const bool hasCurrent = std::ranges::any_of(file_.entries_, isCurrent);
    for (const SalvagedEntry& entry : file_.entries_) {
        if (file_.IsLarge(entry) || entry.size % kMiniSectorSize == 0) continue;
        if (entry.start >= MiniSectorsFor(file_.size_) || (hasCurrent && !isCurrent(entry))) continue;
        SectorId mini = entry.start;
        for (std::uint64_t left = MiniSectorsFor(entry.size); left > 1; --left) {
            const SectorId next = file_.miniFat_.Next(mini);
            mini = IsRegular(next) ? next : mini + 1;
        }
        ends_[perPage_.PageOf(mini)].emplace_back(perPage_.IndexOf(mini), entry.size % kMiniSectorSize);
    }
}

SalvagedFile::MiniStreamSearch::Places SalvagedFile::MiniStreamSearch::ExpectedIn(std::uint32_t page) const {
    const auto found = expected_.find(page);
    return found == expected_.end() ? 0 : found->second;
}

SalvagedFile::MiniStreamSearch::Places SalvagedFile::MiniStreamSearch::BeginningsIn(SectorId sector) {
    const auto [found, isNew] = beginnings_.try_emplace(sector, 0);
    for (std::uint32_t at = 0; isNew && sector < file_.sectors_ && at < perPage_.Count(); ++at)
        if (file_.BeginsAt(file_.OffsetOf(sector) + at * kMiniSectorSize)) found->second |= Places{1} << at;
    return found->second;
}

// Of what is before the zeros at the end of each mini sector.
const std::vector<std::uint8_t>& SalvagedFile::MiniStreamSearch::LengthsIn(SectorId sector) {
    const auto [found, isNew] = lengths_.try_emplace(sector);
    if (!isNew) return found->second;
    std::vector<std::byte> bytes(static_cast<std::size_t>(file_.SectorSize()));
    file_.Read(file_.OffsetOf(sector), bytes);
    found->second.resize(perPage_.Count());
    for (std::size_t at = 0; at < bytes.size(); ++at)
        if (bytes[at] != std::byte{0})
            found->second[at / kMiniSectorSize] = static_cast<std::uint8_t>(at % kMiniSectorSize + 1);
    return found->second;
}

int SalvagedFile::MiniStreamSearch::PointsOfBeginnings(std::uint32_t page, SectorId sector) {
    constexpr int kOverwritten = -3, kThere = 2, kMissing = -3;
    const Places wanted = ExpectedIn(page), there = BeginningsIn(sector);
    if (there == 0 && wanted != 0) return kOverwritten;  // or another one
    Places unwanted = there & ~wanted;  // where the mini FAT is lost, streams may begin of which nothing is known
    for (std::uint32_t at = 0; unwanted != 0 && at < perPage_.Count(); ++at)
        if (file_.miniFat_.Next((page << perPage_.Shift()) + at) == kUnknown) unwanted &= ~(Places{1} << at);
    return kThere * std::popcount(wanted & there) + kMissing * std::popcount(wanted & ~there) - std::popcount(unwanted);
}

int SalvagedFile::MiniStreamSearch::PointsOfEnds(std::uint32_t page, SectorId sector) {
    constexpr int kZeros = 1, kOthers = -2;
    const auto ending = ends_.find(page);
    if (ending == ends_.end() || sector >= file_.sectors_ || BeginningsIn(sector) == 0) return 0;
    const std::vector<std::uint8_t>& lengths = LengthsIn(sector);
    int points = 0;
    for (const auto& [index, length] : ending->second) points += lengths[index] <= length ? kZeros : kOthers;
    return points;
}

// Of a page and those behind it, if it is that sector, with those that follow in the FAT or else in the file.
SalvagedFile::MiniStreamSearch::Fit SalvagedFile::MiniStreamSearch::FitFrom(std::uint32_t page, SectorId sector) {
    Fit fit;
    int points = 0;
    bool isChain = true;  // as far as the FAT says it; what is beside its end may be something else
    for (std::uint32_t at = 0; at < kRun && IsRegular(sector); ++at) {
        if (expected_.contains(page + at)) {
            fit.first = std::min(fit.first, at);
            points += PointsOf(page + at, sector);
            fit.points = isChain ? points : std::max(fit.points, points);
            fit.hasAll = fit.hasAll && HasAll(page + at, sector);
        }
        const SectorId next = file_.fat_.Next(sector);
        if (!IsRegular(next)) isChain = isChain && at == 0 && fit.first == kRun;
        sector = IsRegular(next) ? next : sector + 1;
    }
    return fit;
}

// Sectors in which streams begin.
const std::vector<SectorId>& SalvagedFile::MiniStreamSearch::Holders() {
    if (holders_) return *holders_;
    holders_.emplace();
    for (SectorId sector = 0; sector < file_.sectors_; ++sector)
        if (file_.fat_.Next(sector) != kFreeSector && BeginningsIn(sector) != 0) holders_->push_back(sector);
    return *holders_;
}

// The sector that fits the page best: in it, and in the sectors behind it, streams begin at the places that the
// directory names. The guess, where no other one fits better.
SectorId SalvagedFile::MiniStreamSearch::Best(std::uint32_t page, SectorId guess) {
    const Fit fit = FitFrom(page, guess);
    if (fit.hasAll || tries_ == 0) return guess;
    int points = fit.points + 1;
    SectorId chosen = guess;
    for (const SectorId holder : Holders()) {
        if (holder < fit.first || used_.contains(holder - fit.first)) continue;
        if (tries_ == 0) break;
        --tries_;
        const SectorId begin = holder - fit.first;
        const int other = FitFrom(page, begin).points;
        // It is none of those that come later where nothing is missing between.
        const bool isLater = other > points && begin > guess && FitFrom(page + (begin - guess), begin).points >= other;
        if (other > points && !isLater) points = other, chosen = begin;
    }
    return chosen;
}

// Along the FAT. Where it does not say which sector is next, the best one; where that one is as good, the next sector
// in the file that nothing else claims.
void SalvagedFile::MiniStreamSearch::Walk(SectorId start, std::uint64_t count) {
    const Table& fat = file_.fat_;
    SectorId sector = start;
    bool isKnown = true;
    for (std::uint32_t page = 0; page < count && IsRegular(sector); ++page) {
        if (!isKnown) sector = Best(page, sector);
        if (isKnown && certain_ == page) ++certain_;
        pages_.push_back(sector);
        used_.insert(sector);
        const SectorId next = fat.Next(sector);
        isKnown = fat.IsCertain(sector);
        if (!isKnown) guessed_.insert(page + 1);
        if (IsRegular(next) && next < fat.next.size()) {
            sector = next;
            continue;
        }
        for (++sector; fat.IsTaken(sector); ++sector) {
        }
    }
}

// No longer than the mini stream.
std::vector<SectorId> SalvagedFile::MiniStreamSearch::ChainFrom(SectorId begin) const {
    std::vector<SectorId> chain{begin};
    while (chain.size() < pages_.size() && file_.fat_.IsCertain(chain.back()))
        chain.push_back(file_.fat_.Next(chain.back()));
    return chain;
}

// A chain of the FAT that is in use and to which nothing leads is a part of the mini stream where its beginnings are
// those of pages that do not follow for certain; where there are several such, of those that it resembles most.
void SalvagedFile::MiniStreamSearch::PutUnowned() {
    const auto hits = [&](const std::vector<SectorId>& chain, std::size_t first) {
        int sum = 0;
        for (std::size_t at = 0; at < chain.size(); ++at) {
            const auto page = static_cast<std::uint32_t>(first + at);
            if (!HasAll(page, chain[at])) return 0;
            sum += std::popcount(ExpectedIn(page));
        }
        return sum;
    };
    for (const SectorId begin : file_.UnownedChains()) {
        if (used_.contains(begin) || !file_.fat_.isListed[begin] || tries_ == 0) continue;
        const std::vector<SectorId> chain = ChainFrom(begin);
        std::pair<std::size_t, int> most{0, 0};
        std::size_t chosen = 0;
        for (std::size_t page = std::max(1u, certain_); page + chain.size() <= pages_.size(); ++page) {
            if (file_.fat_.IsCertain(pages_[page - 1]) || tries_ == 0) continue;
            --tries_;
            const int sum = hits(chain, page);
            if (sum == 0) continue;
            if (const std::pair likeness{file_.Likeness(begin, pages_[page]), sum}; likeness > most)
                most = likeness, chosen = page;
        }
        if (chosen == 0) continue;
        std::ranges::copy(chain, pages_.begin() + static_cast<std::ptrdiff_t>(chosen));
        guessed_.erase(chosen);
        used_.insert(chain.begin(), chain.end());
    }
}

// Does a certain link of the page before lead to it?
bool SalvagedFile::MiniStreamSearch::IsLinked(std::size_t page) const {
    return file_.fat_.IsCertain(pages_[page - 1]) && file_.fat_.Next(pages_[page - 1]) == pages_[page];
}

// Pages whose sectors seem wrong: a sector that another page has as well, or one in which other streams begin than the
// directory says. Where one sector of a chain seems wrong, all pages of the chain count as wrong.
std::vector<bool> SalvagedFile::MiniStreamSearch::WrongPages() {
    std::vector<bool> wrong(pages_.size());
    std::unordered_map<SectorId, int> uses;
    for (const SectorId sector : pages_) ++uses[sector];
    for (std::size_t begin = std::max(1u, certain_), end = begin; begin < pages_.size(); begin = end) {
        bool isWrong = false;
        int points = 0;
        do {
            const auto page = static_cast<std::uint32_t>(end);
            const SectorId sector = pages_[end];
            isWrong = isWrong || uses[sector] > 1 || (!HasAll(page, sector) && BeginningsIn(sector) != 0);
            points += PointsOf(page, sector);
        } while (++end < pages_.size() && IsLinked(end));
        if (isWrong || points < 0)
            std::fill(wrong.begin() + std::ptrdiff_t(begin), wrong.begin() + std::ptrdiff_t(end), true);
    }
    return wrong;
}

// The chains that may be put there, and that no other page has: where all streams begin that should.
std::vector<SalvagedFile::MiniStreamSearch::Placing> SalvagedFile::MiniStreamSearch::PlacingsIn(
    const std::vector<bool>& open, const std::unordered_set<SectorId>& taken) {
    std::vector<Placing> placings;
    for (const SectorId begin : Holders()) {
        const bool follows = begin < file_.fat_.next.size() && file_.fat_.followsCertainly[begin];
        if (follows || taken.contains(begin)) continue;
        const std::vector<SectorId> chain = ChainFrom(begin);
        for (std::size_t page = 1; page + chain.size() <= pages_.size() && tries_ > 0; ++page) {
            if (!open[page]) continue;
            --tries_;
            int points = 0;
            bool fits = true;
            for (std::size_t at = 0; fits && at < chain.size(); ++at) {
                const auto to = static_cast<std::uint32_t>(page + at);
                fits = open[to] && HasAll(to, chain[at]);
                points += PointsOf(to, chain[at]);
            }
            if (fits && points > 0) placings.push_back({points, begin == pages_[page - 1] + 1, chain, page});
        }
    }
    return placings;
}

// Gives pages with wrong sectors the chains that fit there; those that fit best of all come first.
void SalvagedFile::MiniStreamSearch::Rearrange() {
    std::vector<bool> open = WrongPages();
    if (std::ranges::find(open, true) == open.end()) return;
    std::unordered_set<SectorId> taken;
    for (std::size_t page = 0; page < pages_.size(); ++page)
        if (!open[page]) taken.insert(pages_[page]);
    std::vector<Placing> placings = PlacingsIn(open, taken);
    StableSort(placings.begin(), placings.end(), [](const Placing& one, const Placing& other) {
        return std::tuple(one.points, one.isNext) > std::tuple(other.points, other.isNext);
    });
    for (const Placing& placing : placings) {
        const auto first = static_cast<std::ptrdiff_t>(placing.page);
        const auto last = first + static_cast<std::ptrdiff_t>(placing.chain.size());
        const bool isOpen = std::find(open.begin() + first, open.begin() + last, false) == open.begin() + last;
        const auto isTaken = [&](SectorId sector) { return taken.contains(sector); };
        if (!isOpen || std::ranges::any_of(placing.chain, isTaken)) continue;
        std::ranges::copy(placing.chain, pages_.begin() + first);
        std::fill(open.begin() + first, open.begin() + last, false);
        taken.insert(placing.chain.begin(), placing.chain.end());
    }
    for (std::size_t page = std::max(1u, certain_); page < pages_.size(); ++page)
        if (!IsLinked(page)) guessed_.insert(page);
}

}  // namespace lumvex::compound
