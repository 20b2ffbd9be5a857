#include "storage/compound/salvage/salvaged_file.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace lumvex::compound {

SalvagedFile::SalvagedFile(File& file, Begins begins) : file_(file), begins_(std::move(begins)), view_(file) {
    view_.Refresh();
    size_ = view_.Size();
    const Header header = FindHeader();
    FindEntries();
    if (view_.IsMapped() && file_.LookAtMap() != File::Shown::Whole) {  // a part that cannot be read showed as zeros
        view_.ReadPageByPage();
        entries_.clear(), entryOffsets_.clear(), roots_.clear(), rootOffsets_.clear();
        FindEntries();
    }
    shift_ = ShiftOf(header);
    sectors_ = size_ <= OffsetOf(0) ? 0 : SectorsFor(size_ - OffsetOf(0));
    hasHeader_ = header.SectorShift() == shift_ && header.MiniCutoff() == kMiniCutoff;
    const std::uint32_t perPage = TableEntriesPerPage(shift_).Count();
    const std::vector<SectorId> listed = hasHeader_ ? ListedFatPages(header) : std::vector<SectorId>();
    if (hasHeader_) {
        listedFat_.insert(listed.begin(), listed.end());
        firstDirectory_ = header.FirstDirectory();
        firstMiniFat_ = header.FirstMiniFat();
    }
    const std::uint64_t pages = std::max<std::uint64_t>(listed.size(), (sectors_ + perPage - 1) / perPage);
    fat_.next.assign(static_cast<std::size_t>(pages * perPage), kUnknown);
    fat_.isListed.assign(fat_.next.size(), false);
    for (std::uint32_t index = 0; index < listed.size(); ++index) {
        Page page = ReadPage(listed[index]);
        if (!IsMisplaced(page, index) && Looks(page, index * perPage, fat_.next.size())) Adopt(fat_, index, page, true);
    }
    NoteLinks(fat_);
    JudgeEntries();  // by the pages that are listed: what is known of the directory tells which others fit
    SearchPages(fat_, true);
    NoteLinks(fat_);
    JudgeEntries();
    NoteFollowers(fat_, true);
    FindMiniStream();
    NoteUnowned();
    NoteEnds();
}

bool SalvagedFile::Read(std::uint64_t offset, std::span<std::byte> bytes) const {
    constexpr std::size_t kPiece = 512;
    std::ranges::fill(bytes, std::byte{0});
    if (offset >= size_) return bytes.empty();
    const auto there = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), size_ - offset));
    bool whole = there == bytes.size();
    try {
        view_.Read(offset, bytes.first(there));
        return whole;
    } catch (const StorageError&) {  // then as much of it as can be read
    }
    for (std::size_t at = 0; at < there; at += kPiece) {
        const auto piece = bytes.subspan(at, std::min(kPiece, there - at));
        try {
            view_.Read(offset + at, piece);
        } catch (const StorageError&) {
            std::ranges::fill(piece, std::byte{0});
            whole = false;
        }
    }
    return whole;
}

bool SalvagedFile::BeginsAt(std::uint64_t offset) const {
    std::array<std::byte, kLook> bytes;
    Read(offset, bytes);
    return offset < size_ && begins_(bytes);
}

// As many sectors as the stream has, whatever the table says: where it does not lead on, the next sector that nothing
// else claims is taken.
std::vector<SectorId> SalvagedFile::Follow(const Table& table, SectorId first, std::uint64_t count, Way way) const {
    constexpr SectorId kFarthest = 4096;
    std::vector<SectorId> sectors;
    SectorId sector = first;
    while (sectors.size() < count && IsRegular(sector)) {
        sectors.push_back(sector);
        const SectorId next = table.Next(sector);
        const SectorId after = sector + 1;
        if (way == Way::Chain && IsRegular(next) && next < table.next.size()) {
            sector = next;
            continue;
        }
        sector = after;
        if (way == Way::Adjacent) continue;
        while (sector - after < kFarthest && table.IsTaken(sector)) ++sector;
        if (sector - after == kFarthest) sector = after;
    }
    return sectors;
}

std::vector<Extent> SalvagedFile::Joined(const std::vector<SectorId>& sectors, bool isMini, std::uint64_t size) const {
    std::vector<Extent> extents;
    const auto add = [&](std::uint64_t offset, std::uint64_t count) {
        if (count == 0) return;
        Extent* last = extents.empty() ? nullptr : &extents.back();
        const bool isLost = offset == Extent::kLost;
        if (last && (isLost ? last->offset == Extent::kLost
                            : last->offset != Extent::kLost && last->offset + last->count == offset))
            last->count += count;
        else
            extents.push_back({offset, count});
    };
    const std::uint64_t unit = isMini ? kMiniSectorSize : std::uint64_t{1} << shift_;
    std::uint64_t left = size;
    for (const SectorId sector : sectors) {
        const std::uint64_t offset = isMini ? OffsetOfMini(sector) : OffsetOf(sector);
        const std::uint64_t wanted = std::min(unit, left);
        const std::uint64_t there = offset >= size_ ? 0 : std::min(wanted, size_ - offset);
        add(offset, there);
        add(Extent::kLost, wanted - there);
        left -= wanted;
    }
    add(Extent::kLost, left);
    return extents;
}

SalvagedFile::Verdict SalvagedFile::JudgeChain(const SalvagedEntry& entry) const {
    const bool isMini = !IsLarge(entry);
    const Table& table = isMini ? miniFat_ : fat_;
    if (entry.size == 0) return Verdict::Unknown;
    if (table.IsNoBeginning(entry.start)) return Verdict::Contradicted;
    SectorId sector = entry.start;
    for (std::uint64_t left = isMini ? MiniSectorsFor(entry.size) : SectorsFor(entry.size); left > 0; --left) {
        if (sector >= table.next.size() || !table.isListed[sector] || table.next[sector] == kUnknown)
            return Verdict::Unknown;
        sector = table.next[sector];
        if (!IsRegular(sector) && left > 1) return Verdict::Contradicted;
    }
    return sector == kEndOfChain ? Verdict::Confirmed : Verdict::Contradicted;
}

bool SalvagedFile::IsWholeLarge(const SalvagedEntry& entry) const {
    std::uint64_t left = IsLarge(entry) ? SectorsFor(entry.size) : 0;
    SectorId sector = entry.start;
    for (; left > 0 && sector < fat_.next.size(); --left) sector = fat_.next[sector];
    return left == 0 && sector == kEndOfChain;
}

bool SalvagedFile::IsCertain(const SalvagedEntry& entry) const {
    if (entry.standing != SalvagedEntry::Standing::Current || JudgeChain(entry) != Verdict::Confirmed) return false;
    if (IsLarge(entry)) return true;
    const PerPage perPage = MiniSectorsPerPage(shift_);
    for (SectorId sector = entry.start; IsRegular(sector); sector = miniFat_.Next(sector))
        if (perPage.PageOf(sector) >= certainMiniPages_) return false;
    return true;
}

std::vector<Extent> SalvagedFile::ExtentsOf(const SalvagedEntry& entry, Way way) const {
    const bool isMini = !IsLarge(entry);
    // The file may have been longer, but a damaged size must not ask for any amount of zeros.
    constexpr std::uint64_t kMostCut = 16;
    const std::uint64_t described = std::min<std::uint64_t>(fat_.next.size() << shift_, kMostCut * size_);
    const std::uint64_t size = std::min(entry.size, std::max(size_, described));
    const std::uint64_t count = isMini ? MiniSectorsFor(size) : SectorsFor(size);
    if (isMini && way == Way::Beside) {
        const std::uint64_t begin = OffsetOfMini(entry.start);
        if (begin < size_ && size <= size_ - begin) return {{begin, size}};
    }
    return Joined(Follow(isMini ? miniFat_ : fat_, entry.start, count, way), isMini, size);
}

bool SalvagedFile::IsDisputed(const std::vector<Extent>& extents) const {
    return std::ranges::any_of(extents, [&](const Extent& extent) {
        if (extent.offset == Extent::kLost || disputed_.empty()) return false;
        for (std::uint64_t at = extent.offset / SectorSize(); at <= (extent.offset + extent.count - 1) / SectorSize();
             ++at)
            if (disputed_.contains(static_cast<SectorId>(at - 1))) return true;
        return false;
    });
}

bool SalvagedFile::MayBeElsewhere(std::uint64_t offset, std::uint64_t other) const {
    const auto sectorOf = [&](std::uint64_t place) { return static_cast<SectorId>((place >> shift_) - 1); };
    const auto page = pageOfSector_.find(sectorOf(offset));
    if (page == pageOfSector_.end() || page->second < certainMiniPages_) return false;
    if (offset == other || (offset - other) % SectorSize() != 0 || fat_.IsCertainlyFree(sectorOf(other))) return false;
    const std::uint64_t perPage = MiniSectorsPerPage(shift_).Count();
    const auto first = std::ranges::lower_bound(miniBeginnings_, page->second * perPage);
    const auto last = std::ranges::lower_bound(miniBeginnings_, (page->second + 1) * perPage);
    const auto hits = [&](SectorId sector) {
        return std::count_if(first, last, [&](SectorId mini) {
            return BeginsAt(OffsetOf(sector) + kMiniSectorSize * (mini % perPage));
        });
    };
    if (hits(sectorOf(other)) < hits(sectorOf(offset))) return false;
    // Where many sectors fit side by side, only another state of one of them takes its place, which is much like it.
    return unsteady_[page->second] || 2 * Likeness(sectorOf(offset), sectorOf(other)) > SectorSize();
}

bool SalvagedFile::MayBeInMiniStream(std::uint64_t offset) const {
    if (miniPages_.empty()) return true;
    return offset >= OffsetOf(0) && pageOfSector_.contains(static_cast<SectorId>((offset >> shift_) - 1));
}

bool SalvagedFile::EndsInZeros(const std::vector<Extent>& extents) const {
    if (extents.empty() || extents.back().offset == Extent::kLost) return true;
    const std::uint64_t end = extents.back().offset + extents.back().count;
    std::vector<std::byte> rest(static_cast<std::size_t>(-end % kMiniSectorSize));
    Read(end, rest);
    return std::ranges::all_of(rest, [](std::byte each) { return each == std::byte{0}; });
}

std::vector<std::uint64_t> SalvagedFile::Beginnings() const {
    std::vector<std::uint64_t> beginnings;
    std::vector<std::byte> block(kBlock);
    for (std::uint64_t offset = 0; offset < size_; offset += kBlock) {
        Read(offset, block);
        for (std::size_t at = 0; at < kBlock && offset + at < size_; at += kMiniSectorSize) {
            const std::uint64_t place = offset + at;
            if (place < OffsetOf(0) || !begins_(std::span(block).subspan(at, kLook))) continue;
            const auto sector = static_cast<SectorId>((place >> shift_) - 1);
            const std::uint64_t inSector = place - OffsetOf(sector);
            if (fat_.IsCertainlyFree(sector)) continue;
            const auto page = pageOfSector_.find(sector);
            if (page != pageOfSector_.end()) {
                const auto mini = static_cast<SectorId>((std::uint64_t{page->second} << (shift_ - kMiniSectorShift)) +
                                                        inSector / kMiniSectorSize);
                if (page->second < certainMiniPages_ && miniFat_.IsCertainlyFree(mini)) continue;
            }
            beginnings.push_back(place);
        }
    }
    return beginnings;
}

SalvagedFile::Unnamed SalvagedFile::ExtentsFrom(std::uint64_t offset, std::uint64_t most, Way way) const {
    const auto sector = static_cast<SectorId>((offset >> shift_) - 1);
    const std::uint64_t inSector = offset - OffsetOf(sector);
    const auto page = pageOfSector_.find(sector);
    Unnamed stream{{}, page != pageOfSector_.end(), false, false};
    const std::uint64_t whole = most;
    SectorId first = sector;
    if (stream.isMini) {
        first = static_cast<SectorId>((std::uint64_t{page->second} << (shift_ - kMiniSectorShift)) +
                                      inSector / kMiniSectorSize);
        most = std::min<std::uint64_t>(most, kMiniCutoff);
    }
    const bool mayBeLong = stream.isMini && inSector == 0 && page->second >= certainMiniPages_;
    if (way == Way::Beside && mayBeLong) {  // a long one, in a sector that was taken for a part of the mini stream
        stream.isMini = false;
        first = sector;
        most = whole;
        way = Way::Chain;
    } else if (way == Way::Beside || (inSector != 0 && !stream.isMini)) {
        // A small one, in a part of the mini stream to which nothing leads, or to which something else may lead.
        const std::uint64_t count = std::min({most, size_ - offset, std::uint64_t{kMiniCutoff}});
        return {{{offset, count}}, true, offset + count == size_, false};
    }
    const Table& table = stream.isMini ? miniFat_ : fat_;
    const std::uint64_t unit = stream.isMini ? kMiniSectorSize : std::uint64_t{1} << shift_;
    most = std::min(most, stream.isMini ? std::uint64_t{miniPages_.size()} << shift_ : size_);
    std::vector<SectorId> sectors = Follow(table, first, (most + unit - 1) / unit, way);
    // A chain that is known up to its end is no longer than that.
    if (way == Way::Chain) {
        std::size_t at = 0;
        while (at < sectors.size() && IsRegular(table.Next(sectors[at]))) ++at;
        stream.isWholeChain = at < sectors.size() && table.Next(sectors[at]) == kEndOfChain;
        if (stream.isWholeChain) sectors.resize(at + 1);
    }
    stream.extents = Joined(sectors, stream.isMini, sectors.size() * unit);
    while (!stream.extents.empty() && stream.extents.back().offset == Extent::kLost) {
        stream.ends = true;
        stream.extents.pop_back();
    }
    return stream;
}

}  // namespace lumvex::compound
