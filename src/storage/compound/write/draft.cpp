#include "storage/compound/write/draft.hpp"

#include <algorithm>
#include <cassert>

namespace lumvex::compound {

Draft::Draft(Committed& committed, Space& space)
    : committed_(committed),
      space_(space),
      memory_(std::size_t{8} << committed.GetVolume().SectorShift()),
      fat_(committed.FatSectors(), committed.GetVolume().Head().FatSectors(), memory_),
      table_(fat_),
      oldFatCount_(fat_.Count()),
      keptFatCount_(oldFatCount_),
      oldDifat_(committed.FatSectors().DifatSectors()),
      difatReleased_(oldDifat_.size()) {}

Draft::~Draft() {
    if (!kept_) space_.Discard(taken_);
}

ShadowPages& Draft::Directory() {
    if (!directory_) directory_.emplace(committed_.Directory(), committed_.Fat(), memory_);
    return directory_->pages;
}

ShadowPages& Draft::MiniFat() {
    if (!miniFat_) miniFat_.emplace(committed_.MiniFatSectors(), committed_.Fat(), memory_);
    return miniFat_->pages;
}

ShadowPages& Draft::MiniStream() {
    if (!miniStream_) miniStream_.emplace(committed_.MiniStream(), committed_.Fat(), memory_);
    return miniStream_->pages;
}

// old: the sector whose content is going to be in one of these, if any. Where few FAT pages change, sectors are chosen
// whose entries are in these pages.
std::vector<Run> Draft::Take(std::uint32_t count, SectorId old) {
    constexpr std::size_t kFewPages = 8;
    const PerPage perPage = TableEntriesPerPage(fat_.Shift());
    std::vector<std::uint32_t> changing;
    if (fat_.DirtyCount() <= kFewPages) {
        if (old != kFreeSector) changing.push_back(perPage.PageOf(old));
        for (const ShadowPages::Dirty& page : fat_.DirtyPages()) changing.push_back(page.index);
        changing = committed_.FatSectors().ChangedWith(std::move(changing));
    }
    std::vector<Run> runs = space_.Sectors().TakeNear(count, changing, perPage);
    try {
        taken_.insert(taken_.end(), runs.begin(), runs.end());
    } catch (...) {
        space_.Discard(runs);
        throw;
    }
    return runs;
}

SectorId Draft::TakeOne() { return Take(1).front().first; }

void Draft::Release(SectorId first, std::uint32_t count) {
    table_.FreeRun(first, count);
    if (!released_.empty() && released_.back().first + released_.back().count == first)
        released_.back().count += count;
    else if (count != 0)
        released_.push_back({0, first, count});
}

void Draft::ReleaseChain(Chain& chain, std::uint32_t fromIndex) {
    for (const Run& run : chain.Runs(committed_.Fat())) {
        if (run.index + run.count <= fromIndex) continue;
        const std::uint32_t skipped = fromIndex > run.index ? fromIndex - run.index : 0;
        Release(run.first + skipped, run.count - skipped);
    }
}

// Gives every changed page a new sector and links these into the chain between the sectors that stay. Returns the
// chain's first sector.
SectorId Draft::Place(Shadow& shadow) {
    const std::vector<ShadowPages::Dirty> dirty = shadow.pages.DirtyPages();
    const std::uint32_t count = shadow.pages.Count();
    const auto oldSector = [&](std::uint32_t index) { return shadow.chain.Find(committed_.Fat(), index)->sector; };
    std::vector<SectorId> sectors;
    sectors.reserve(dirty.size());
    const SectorId anOldSector =
        !dirty.empty() && dirty.front().index < shadow.oldCount ? oldSector(dirty.front().index) : kFreeSector;
    if (!dirty.empty())
        for (const Run& run : Take(static_cast<std::uint32_t>(dirty.size()), anOldSector))
            for (std::uint32_t i = 0; i < run.count; ++i) sectors.push_back(run.first + i);
    SectorId first = count == 0 ? kEndOfChain : shadow.chain.First();
    for (std::size_t i = 0; i < dirty.size(); ++i) {
        const std::uint32_t index = dirty[i].index;
        const bool followedByDirty = i + 1 < dirty.size() && dirty[i + 1].index == index + 1;
        const bool followsDirty = i > 0 && dirty[i - 1].index + 1 == index;
        table_.SetNext(sectors[i], followedByDirty     ? sectors[i + 1]
                                   : index + 1 < count ? oldSector(index + 1)
                                                       : kEndOfChain);
        if (index == 0)
            first = sectors[i];
        else if (!followsDirty)
            table_.Relink(oldSector(index - 1), sectors[i]);
        if (index < shadow.oldCount && index < count) Release(oldSector(index), 1);
        writes_.push_back({sectors[i], dirty[i].bytes});
    }
    if (count < shadow.oldCount) {
        if (count != 0 && (dirty.empty() || dirty.back().index != count - 1))
            table_.Relink(oldSector(count - 1), kEndOfChain);
        ReleaseChain(shadow.chain, count);
    }
    return first;
}

void Draft::MoveToFront() {
    if (committed_.Empty()) return;       // all pages of a new file get their places anyway
    constexpr std::uint32_t kSmall = 64;  // sectors; a shorter file is left as it is
    const std::uint32_t end = space_.Sectors().End(), middle = end / 2;
    if (end <= kSmall || space_.Sectors().FreeCount() <= middle) return;
    Directory(), MiniFat(), MiniStream();
    for (Shadow* shadow : {&*directory_, &*miniFat_, &*miniStream_})
        for (const Run& run : shadow->chain.Runs(committed_.Fat()))
            for (std::uint32_t i = 0; i < run.count; ++i)
                if (run.first + i >= middle && run.index + i < shadow->pages.Count()) shadow->pages.Edit(run.index + i);
    for (std::uint32_t i = 0; i < keptFatCount_; ++i)
        if (committed_.FatSectors().Location(i) >= middle) fat_.Edit(i);
}

void Draft::PlaceMiniFat(Header& header) {
    if (!miniFat_) return;
    const SectorId first = Place(*miniFat_);
    header.SetMiniFat(first, miniFat_->pages.Count());
    miniFat_.reset();
}

void Draft::StartNewDirectory(Header& header, std::uint32_t pages) {
    assert(committed_.Empty() && newDirectory_.sectors.empty());
    constexpr std::uint32_t kRoom = 64 * 1024;  // bytes
    newDirectory_.roomPages = std::min(pages, kRoom >> fat_.Shift());
    newDirectory_.room = memory_.Take(std::size_t{newDirectory_.roomPages} << fat_.Shift());
    std::vector<SectorId>& sectors = newDirectory_.sectors;
    sectors.reserve(pages);
    for (const Run& run : Take(pages))
        for (std::uint32_t i = 0; i < run.count; ++i) sectors.push_back(run.first + i);
    for (std::uint32_t i = 0; i < pages; ++i) table_.SetNext(sectors[i], i + 1 < pages ? sectors[i + 1] : kEndOfChain);
    header.SetDirectory(sectors.front(), pages);
}

std::byte* Draft::NextDirectoryPage() {
    NewDirectory& directory = newDirectory_;
    const std::uint32_t inRoom = directory.made % directory.roomPages;
    if (inRoom == 0) WriteOut();
    std::byte* const page = directory.room + (std::size_t{inRoom} << fat_.Shift());
    writes_.push_back({directory.sectors[directory.made++], page});
    return page;
}

void Draft::PlaceStructures(Header& header) {
    assert(newDirectory_.made == newDirectory_.sectors.size());
    PlaceMiniFat(header);
    if (directory_) {
        const SectorId first = Place(*directory_);
        header.SetDirectory(first, directory_->pages.Count());
    }
    DropUnusedFat();
    PlaceFat(header);
}

std::optional<SectorId> Draft::FatLocation(std::uint32_t index) {
    if (const auto moved = newFat_.find(index); moved != newFat_.end()) return moved->second;
    if (index < keptFatCount_) return committed_.FatSectors().Location(index);
    return std::nullopt;
}

// Drops FAT sectors at the end whose entries are all free, as after much was removed.
void Draft::DropUnusedFat() {
    const auto isUnused = [this](std::uint32_t index) {
        const std::byte* page = fat_.Page(index);
        return std::all_of(page, page + fat_.PageSize(), [](std::byte byte) { return byte == std::byte{0xFF}; });
    };
    while (fat_.Count() != 0 && isUnused(fat_.Count() - 1)) {
        const std::uint32_t index = fat_.Count() - 1;
        const bool wasCommitted = index < keptFatCount_;
        fat_.CutTo(index);
        if (!wasCommitted) continue;
        keptFatCount_ = index;
        Release(committed_.FatSectors().Location(index), 1);
    }
}

// Placing a page of the FAT changes the FAT itself, at the entries of its new sector and of its old one, and with them
// maybe further pages. So this is repeated until no page is left that changed and has no new sector.
void Draft::PlaceFat(Header& header) {
    const auto reserved = static_cast<SectorId>((kRangeLockOffset >> fat_.Shift()) - 1);
    do {
        if (space_.Sectors().End() > reserved) table_.SetNext(reserved, kEndOfChain);
    } while (PlaceDirtyFat() || PlaceDifat());
    for (const ShadowPages::Dirty& page : fat_.DirtyPages()) writes_.push_back({newFat_.at(page.index), page.bytes});
    for (std::uint32_t i = 0; i < kDifatInHeader; ++i)
        if (i >= fat_.Count())
            header.SetDifat(i, kFreeSector);
        else if (const auto moved = newFat_.find(i); moved != newFat_.end())
            header.SetDifat(i, moved->second);
    header.SetFatSectors(fat_.Count());
    WriteDifat(header);
}

bool Draft::PlaceDirtyFat() {
    bool placed = false;
    for (const ShadowPages::Dirty& page : fat_.DirtyPages()) {
        if (newFat_.contains(page.index)) continue;
        const SectorId sector = TakeOne();
        newFat_.emplace(page.index, sector);
        table_.SetNext(sector, kFatSector);
        if (page.index < keptFatCount_) Release(committed_.FatSectors().Location(page.index), 1);
        placed = true;
    }
    return placed;
}

std::uint32_t Draft::DifatNeeded() const {
    const auto inHeader = static_cast<std::uint32_t>(kDifatInHeader);
    const std::uint32_t perSector = ListedPerDifatSector(fat_.Shift());
    return fat_.Count() <= inHeader ? 0 : (fat_.Count() - inHeader + perSector - 1) / perSector;
}

// How many DIFAT sectors from the first on are written anew: all up to the last one whose content changes, as each of
// them holds the number of the next.
std::uint32_t Draft::DifatChanged() const {
    const auto inHeader = static_cast<std::uint32_t>(kDifatInHeader);
    const std::uint32_t perSector = ListedPerDifatSector(fat_.Shift());
    const std::uint32_t needed = DifatNeeded();
    if (needed == 0) return 0;
    const bool isAnotherLength = difatCut_ || needed != oldDifat_.size() || fat_.Count() != oldFatCount_;
    std::uint32_t changed = isAnotherLength ? needed : 0;
    for (const auto& [index, sector] : newFat_)
        if (index >= inHeader) changed = std::max(changed, (index - inHeader) / perSector + 1);
    return changed;
}

void Draft::ReleaseDifat(std::size_t index) {
    if (index >= oldDifat_.size() || difatReleased_[index]) return;
    difatReleased_[index] = true;
    Release(oldDifat_[index], 1);
}

bool Draft::PlaceDifat() {
    bool placed = false;
    for (const std::uint32_t changed = DifatChanged(); newDifat_.size() < changed; placed = true) {
        const SectorId sector = TakeOne();
        const std::size_t index = newDifat_.size();
        newDifat_.push_back(sector);
        table_.SetNext(sector, kDifatSector);
        ReleaseDifat(index);
    }
    if (!difatCut_ && DifatNeeded() < oldDifat_.size()) {
        for (std::size_t i = std::max<std::size_t>(DifatNeeded(), newDifat_.size()); i < oldDifat_.size(); ++i)
            ReleaseDifat(i);
        difatCut_ = placed = true;
    }
    return placed;
}

void Draft::WriteDifat(Header& header) {
    const std::uint32_t perSector = ListedPerDifatSector(fat_.Shift());
    const std::uint32_t needed = DifatNeeded();
    assert(newDifat_.size() <= needed);
    const auto sectorAt = [this](std::size_t i) { return i < newDifat_.size() ? newDifat_[i] : oldDifat_[i]; };
    for (std::size_t i = 0; i < newDifat_.size(); ++i) {
        std::byte* page = memory_.Take(fat_.PageSize());
        for (std::uint32_t k = 0; k < perSector; ++k) {
            const auto index = static_cast<std::uint32_t>(kDifatInHeader + i * perSector + k);
            Store32(page + 4 * std::size_t{k}, index < fat_.Count() ? FatLocation(index).value() : kFreeSector);
        }
        Store32(page + 4 * std::size_t{perSector}, i + 1 < needed ? sectorAt(i + 1) : kEndOfChain);
        writes_.push_back({newDifat_[i], page});
    }
    header.SetDifatChain(needed == 0 ? kEndOfChain : sectorAt(0), needed);
}

void Draft::WriteOut() {
    Volume& volume = committed_.GetVolume();
    std::sort(writes_.begin(), writes_.end(), [](const Write& a, const Write& b) { return a.sector < b.sector; });
    assert(RulesHold());
    std::vector<Piece> pieces;
    for (std::size_t begin = 0; begin < writes_.size();) {
        pieces.clear();
        std::size_t end = begin;
        do {
            const Piece page(writes_[end].bytes, volume.SectorSize());
            if (!pieces.empty() && pieces.back().data() + pieces.back().size() == page.data())
                pieces.back() = Piece(pieces.back().data(), pieces.back().size() + page.size());
            else
                pieces.push_back(page);
            ++end;
        } while (end < writes_.size() && writes_[end].sector == writes_[end - 1].sector + 1);
        volume.Write(volume.OffsetOf(writes_[begin].sector), pieces);
        begin = end;
    }
    writes_.clear();
}

// Rule 1 of commit.cpp: no sector is written that the committed state uses. Besides, none is written twice.
bool Draft::RulesHold() {
    const PerPage perPage = TableEntriesPerPage(fat_.Shift());
    const std::uint64_t described = std::uint64_t{oldFatCount_} * perPage.Count();
    for (std::size_t i = 0; i < writes_.size(); ++i) {
        const SectorId sector = writes_[i].sector;
        if (i > 0 && writes_[i - 1].sector == sector) return false;
        if (sector >= described) continue;
        const std::byte* page = committed_.FatSectors().Page(perPage.PageOf(sector));
        if (TableEntry(page, perPage.IndexOf(sector)) != kFreeSector) return false;
    }
    return true;
}

}  // namespace lumvex::compound
