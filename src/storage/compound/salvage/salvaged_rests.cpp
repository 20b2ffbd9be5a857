// What a long stream may go on with where no table says it.
#include <algorithm>

#include "storage/compound/salvage/salvaged_file.hpp"

namespace lumvex::compound {

// Finds the chains of the FAT that reach an end of chain and to which nothing leads.
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

// May the sector be the last one of a stream, and be led to by none that is known?
bool SalvagedFile::MayBeEnd(SectorId sector) const {
    const auto page = pageOfSector_.find(sector);
    const bool isMini = page != pageOfSector_.end() && page->second < certainMiniPages_;
    if (isMini || listedFat_.contains(sector)) return false;
    if (sector >= fat_.next.size() || !fat_.isListed[sector]) return true;
    return fat_.next[sector] == kEndOfChain && !fat_.followsCertainly[sector];
}

// Finds the sectors that end in zeros and in which no stream begins.
void SalvagedFile::NoteEnds() {
    const auto isZero = [](std::byte each) { return each == std::byte{0}; };
    std::vector<std::byte> bytes(static_cast<std::size_t>(SectorSize()));
    for (SectorId sector = 0; sector < sectors_; ++sector) {
        if (!MayBeEnd(sector) || !Read(OffsetOf(sector), bytes)) continue;
        const auto last = std::find_if_not(bytes.rbegin(), bytes.rend(), isZero);
        const auto end = static_cast<std::size_t>(bytes.rend() - last);
        bool mayBe = end != 0 && end != bytes.size();
        for (std::size_t at = 0; mayBe && at < end; at += kMiniSectorSize)
            mayBe = !begins_(std::span(bytes).subspan(at, kLook));
        if (mayBe) ends_.emplace(end, sector);
    }
}

std::vector<std::vector<Extent>> SalvagedFile::WithOtherRests(const SalvagedEntry& entry) const {
    constexpr std::size_t kMost = 4;
    std::vector<std::vector<Extent>> found;
    if (!IsLarge(entry) || unowned_.empty()) return found;
    const std::vector<SectorId> sectors =
        Follow(fat_, entry.start, SectorsFor(std::min(entry.size, size_)), Way::Chain);
    for (std::size_t at = 1; at < sectors.size(); ++at) {
        if (fat_.IsCertain(sectors[at - 1])) continue;
        const auto [first, last] = unowned_.equal_range(sectors.size() - at);
        for (auto rest = first; rest != last && found.size() < kMost; ++rest) {
            if (rest->second == entry.start) continue;
            std::vector<SectorId> other(sectors.begin(), sectors.begin() + static_cast<std::ptrdiff_t>(at));
            for (SectorId sector = rest->second; IsRegular(sector); sector = fat_.next[sector]) other.push_back(sector);
            found.push_back(Joined(other, false, entry.size));
        }
    }
    return found;
}

std::vector<std::vector<Extent>> SalvagedFile::WithOtherEnds(const std::vector<Extent>& extents) const {
    constexpr std::uint64_t kField = 4;  // bytes; the stream's last ones may be zeros
    constexpr std::size_t kMost = 4;
    std::vector<std::vector<Extent>> found;
    std::uint64_t size = 0;
    for (const Extent& extent : extents) size += extent.count;
    const std::uint64_t tail = size % SectorSize();
    if (tail < kField || size < kMiniCutoff || extents.back().offset == Extent::kLost) return found;
    const auto lastOf = [&](const Extent& extent) {
        return static_cast<SectorId>(((extent.offset + extent.count - 1) >> shift_) - 1);
    };
    const SectorId last = lastOf(extents.back());
    std::vector<Extent> before = extents;
    before.back().count -= std::min(tail, before.back().count);
    if (before.back().count == 0) before.pop_back();
    if (before.empty() || before.back().offset == Extent::kLost || fat_.IsCertain(lastOf(before.back()))) return found;
    const auto end = ends_.upper_bound(tail);
    for (auto each = ends_.upper_bound(tail - kField); each != end && found.size() < kMost; ++each) {
        if (each->second == last) continue;
        found.push_back(before);
        found.back().push_back({OffsetOf(each->second), tail});
    }
    return found;
}

}  // namespace lumvex::compound
