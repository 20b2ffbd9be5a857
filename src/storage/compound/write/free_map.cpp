#include "storage/compound/write/free_map.hpp"

#include <algorithm>
#include <bit>
#include <cassert>

#include "storage/compound/base/error.hpp"

namespace lumvex::compound {

namespace {

std::size_t WordsFor(std::uint64_t sectors) { return static_cast<std::size_t>((sectors + 63) / 64); }

}  // namespace

FreeMap::FreeMap(std::uint32_t end, SectorId reserved, std::uint32_t limit)
    : words_(WordsFor(end)), end_(end), reserved_(reserved), limit_(limit) {}

void FreeMap::Mark(SectorId first, std::uint32_t count, bool free) {
    for (std::uint32_t done = 0; done < count;) {
        const SectorId at = first + done;
        const std::uint32_t bits = std::min(64 - at % 64, count - done);
        const std::uint64_t mask = (bits == 64 ? ~0ull : (1ull << bits) - 1) << (at % 64);
        std::uint64_t& word = words_[at / 64];
        assert(((free ? word : ~word) & mask) == 0);
        word = free ? word | mask : word & ~mask;
        done += bits;
    }
    free_ = free ? free_ + count : free_ - count;
    if (free) lowest_ = std::min(lowest_, first);
}

std::optional<Run> FreeMap::NextGap(SectorId from, std::uint32_t most) const {
    std::size_t at = from / 64;
    if (at >= words_.size()) return std::nullopt;
    std::uint64_t word = words_[at] & (~0ull << (from % 64));
    while (word == 0) {
        if (++at == words_.size()) return std::nullopt;
        word = words_[at];
    }
    const auto bit = static_cast<unsigned>(std::countr_zero(word));
    const auto first = static_cast<SectorId>(at * 64 + bit);
    std::uint32_t count = static_cast<std::uint32_t>(std::countr_one(word >> bit));
    for (bool open = bit + count == 64; open && count < most && ++at < words_.size();) {
        const auto more = static_cast<std::uint32_t>(std::countr_one(words_[at]));
        count += more;
        open = more == 64;
    }
    return Run{0, first, std::min(count, most)};
}

SectorId FreeMap::Take(std::uint32_t count) {
    assert(count != 0);
    if (free_ >= count) {
        bool isLowest = true;
        for (SectorId from = lowest_; const auto gap = NextGap(from, count);) {
            if (isLowest) lowest_ = gap->first;
            isLowest = false;
            if (gap->count == count) {
                Mark(gap->first, count, false);
                return gap->first;
            }
            from = gap->first + gap->count;
        }
    }
    return TakeAtEnd(count);
}

SectorId FreeMap::TakeAtEnd(std::uint32_t count) {
    SectorId first = std::max(end_, front_);  // moves back over the gap that ends where the file does
    while (first > 0 && first <= end_ && end_ - first < count && IsFree(first - 1)) --first;
    std::uint64_t newEnd = std::uint64_t{first} + count;
    const bool reserve = first <= reserved_ && reserved_ < newEnd;
    if (reserve) {
        first = reserved_ + 1;
        newEnd = std::uint64_t{first} + count;
    }
    if (newEnd > std::max(limit_, end_)) {
        refused_ = true;
        throw StorageError(Status::MediumFull, "more than ", limit_, " sectors");
    }
    const std::uint32_t oldEnd = end_;
    if (WordsFor(newEnd) != words_.size()) words_.resize(WordsFor(newEnd));
    end_ = static_cast<std::uint32_t>(newEnd);
    if (reserve && oldEnd < reserved_) Mark(oldEnd, reserved_ - oldEnd, true);
    if (first < oldEnd) Mark(first, oldEnd - first, false);
    return first;
}

std::vector<Run> FreeMap::TakeRuns(std::uint32_t count) {
    std::vector<Run> runs;
    const bool mostlyGaps = free_ > count && free_ > end_ / 2;
    for (std::uint32_t least = 16; mostlyGaps && least != 0 && runs.empty(); least = least == 16 ? 1 : 0) {
        std::uint32_t taken = 0;
        for (SectorId from = lowest_; taken < count;) {
            const auto gap = NextGap(from, count - taken);
            if (!gap) break;
            from = gap->first + gap->count;
            if (gap->count < std::min(least, count - taken)) continue;
            runs.push_back({taken, gap->first, gap->count});
            taken += gap->count;
        }
        if (taken < count) runs.clear();
    }
    if (runs.empty()) return {{0, Take(count), count}};
    for (const Run& run : runs) Mark(run.first, run.count, false);
    return runs;
}

std::vector<Run> FreeMap::TakeNear(std::uint32_t count, const std::vector<std::uint32_t>& pages,
                                   PerPage entriesPerPage) {
    constexpr std::uint32_t kFew = 16;
    if (count > kFew || free_ > end_ / 2) return TakeRuns(count);
    for (const std::uint32_t page : pages) {
        const std::uint64_t end = (std::uint64_t{page} + 1) << entriesPerPage.Shift();
        for (SectorId from = page << entriesPerPage.Shift(); const auto gap = NextGap(from, count);) {
            if (std::uint64_t{gap->first} + count > end) break;
            if (gap->count == count) {
                Mark(gap->first, count, false);
                return {{0, gap->first, count}};
            }
            from = gap->first + gap->count;
        }
    }
    const bool grows = free_ <= end_ / 16 && std::ranges::find(pages, entriesPerPage.PageOf(end_)) != pages.end();
    return {{0, grows ? TakeAtEnd(count) : Take(count), count}};
}

void FreeMap::Give(SectorId first, std::uint32_t count) {
    const std::uint32_t kept = first < front_ ? std::min(front_ - first, count) : 0;
    if (count != kept) Mark(first + kept, count - kept, true);
}

void FreeMap::KeepFront(SectorId first) {
    front_ = first;
    for (auto gap = NextGap(0); gap && gap->first < first; gap = NextGap(gap->first + 1))
        TakeGap({0, gap->first, std::min(gap->count, first - gap->first)});
}

void FreeMap::CutTo(std::uint32_t end) {
    assert(end <= end_ && end >= UsedEnd());
    Mark(end, end_ - end, false);
    end_ = end;
    words_.resize(WordsFor(end));
    lowest_ = std::min(lowest_, end_);
}

std::uint32_t FreeMap::UsedEnd() const {
    std::uint32_t end = end_;
    while (end > 0 && IsFree(end - 1)) {
        if (end % 64 == 0 && words_[end / 64 - 1] == ~0ull)
            end -= 64;
        else
            --end;
    }
    return end;
}

}  // namespace lumvex::compound
