#include "storage/compound/read/committed.hpp"

#include <algorithm>

namespace lumvex::compound {

SectorId FatPages::Location(std::uint32_t index) {
    const auto location = FindLocation(index);
    if (!location) throw Corrupt("FAT sector ", index, " is not listed");
    return *location;
}

std::optional<SectorId> FatPages::FindLocation(std::uint32_t index) {
    SectorId location = kFreeSector;
    if (index < kDifatInHeader) {
        location = volume_.Head().Difat(index);
    } else {
        const std::uint32_t perSector = ListedPerDifatSector(Shift());
        const std::uint32_t beyondHeader = index - static_cast<std::uint32_t>(kDifatInHeader);
        while (difat_.size() <= beyondHeader / perSector)
            if (!ReadOneMore()) return std::nullopt;
        location = TableEntry(volume_.Sector(difat_[beyondHeader / perSector]), beyondHeader % perSector);
    }
    if (location > kMaxSector) return std::nullopt;
    return location;
}

// Chains are followed once, and fresh memory for a page takes longer than reading it again.
const std::byte* FatPages::FetchPartOnce(std::uint32_t index, std::size_t at, std::size_t /*count*/) {
    constexpr std::size_t kSeveral = 4096;
    return (volume_.IsMapped() ? Page(index) : PageInWindow(index, kSeveral)) + at;
}

// The pages of a short FAT are kept: a writer needs most of them again.
const std::byte* FatPages::PageOnce(std::uint32_t index) {
    constexpr std::size_t kMany = std::size_t{16} * 1024;
    const bool isShort = volume_.Head().FatSectors() * PageSize() <= 2 * kMany;
    return isShort || volume_.IsMapped() ? Page(index) : PageInWindow(index, kMany);
}

// FAT sectors mostly are adjacent, so that several can be read at a time.
const std::byte* FatPages::PageInWindow(std::uint32_t index, std::size_t bytes) {
    const SectorId sector = Location(index);
    const std::uint32_t whole = volume_.SectorCount() - (volume_.LastSectorLacks() != 0 ? 1 : 0);
    if (sector >= whole) return Page(index);
    const std::uint64_t offset = volume_.OffsetOf(sector);
    std::uint32_t count = 1;
    if (!window_.Has(offset, PageSize())) {
        const auto most = static_cast<std::uint32_t>(std::min<std::size_t>(bytes >> Shift(), whole - sector));
        while (count < most && FindLocation(index + count) == sector + count) ++count;
    }
    volume_.CountRead(offset, PageSize());
    return volume_.BytesOnce(offset, PageSize(), window_, count * PageSize());
}

bool FatPages::ReadOneMore() {
    const SectorId next = difat_.empty() ? volume_.Head().FirstDifat()
                                         : TableEntry(volume_.Sector(difat_.back()), ListedPerDifatSector(Shift()));
    if (next > kMaxSector) return false;  // any mark: some programs end this chain with that of a free sector
    if (difat_.size() >= volume_.SectorCount()) throw Corrupt("the chain of DIFAT sectors is a cycle");
    difat_.push_back(next);
    return true;
}

const std::vector<SectorId>& FatPages::DifatSectors() {
    while (difat_.size() < volume_.Head().DifatSectors() && ReadOneMore()) {
    }
    return difat_;
}

std::vector<std::uint32_t> FatPages::ChangedWith(std::vector<std::uint32_t> pages) {
    for (std::size_t i = 0; i < pages.size(); ++i) {
        const auto location = FindLocation(pages[i]);
        if (!location) continue;
        const std::uint32_t page = TableEntriesPerPage(Shift()).PageOf(*location);
        if (std::find(pages.begin(), pages.end(), page) == pages.end()) pages.push_back(page);
    }
    return pages;
}

SectorId ChainPages::SectorOf(std::uint32_t index) {
    const auto place = chain_.Find(fat_, index);
    if (!place) throw Corrupt("the chain from sector ", chain_.First(), " has no sector ", index);
    return place->sector;
}

const std::byte* ChainPages::Fetch(std::uint32_t index) {
    const SectorId sector = SectorOf(index);
    return asked_ == Asked::InAnyOrder ? volume_.Sector(sector) : volume_.SectorInOrder(sector);
}

void WalkTree(Pages& directory, EntryId top, std::uint32_t limit,
              const std::function<void(EntryId, const DirectoryEntry&)>& visit) {
    VisitInOrder([&](EntryId id) { return EntryAt(directory, id); }, top, limit,
                 [&](EntryId id, const DirectoryEntry& entry) {
                     if (IsMember(entry.Type())) visit(id, entry);
                 });
}

Committed::Committed(Volume& volume)
    : volume_(volume),
      fatPages_(volume),
      fat_(fatPages_, volume.SectorCount()),
      directory_(volume, fat_, volume.Head().FirstDirectory()),
      miniFatPages_(volume, fat_, volume.Head().FirstMiniFat(), ChainPages::Asked::MostlyInOrder),
      miniFat_(miniFatPages_, 0) {}

void Committed::ViewsMoved() noexcept {
    fatPages_.ForgetLast();
    directory_.ForgetLast();
    miniFatPages_.ForgetLast();
    if (miniStream_) miniStream_->ForgetLast();
}

// Does the file, which has become shorter, still have every sector that this state uses? A writer that keeps to our
// locks cuts only what no reader needs; other programs may cut anything. FAT sectors that are gone read as zeros, which
// count as sectors in use.
bool Committed::IsWhole() {
    const std::uint64_t size = volume_.GetFile().Size();
    try {
        const std::uint32_t needed = UsedEnd(fatPages_, volume_.Head().FatSectors());
        return volume_.LookAtMap() != File::Shown::Failed && (needed == 0 || volume_.OffsetOf(needed) <= size);
    } catch (const StorageError&) {
        return false;
    }
}

void Committed::FailToRead() {
    volume_.ReadPageByPage();
    fatPages_.Forget();
    for (ChainPages* pages : {&directory_, &miniFatPages_}) pages->Forget();
    miniStream_.reset();
    miniStreamSize_ = 0;
    miniRun_ = {};
    miniFat_.SetLimit(0);
    index_.reset();
    throw StorageError(Status::ReadFault, "a part of the file cannot be read");
}

std::uint32_t Committed::EntryCount() {
    const PerPage perPage = DirectoryEntriesPerPage(volume_.SectorShift());
    const std::uint64_t count = std::uint64_t{directory_.Sectors().Length(fat_)} * perPage.Count();
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(count, kMaxSector));
}

void Committed::ReadRootEntry() {
    SectorId start = kEndOfChain;
    if (!Empty()) {
        const DirectoryEntry root = At(0);
        if (root.Type() != EntryType::Root) throw Corrupt("entry 0 is not the root");
        miniStreamSize_ = root.Size(volume_.Head().Version());
        if (miniStreamSize_ > std::uint64_t{volume_.SectorCount()} << volume_.SectorShift())
            throw Corrupt("a mini stream of ", miniStreamSize_, " bytes in ", volume_.SectorCount(), " sectors");
        if (miniStreamSize_ != 0) start = root.Start();
    }
    miniStream_.emplace(volume_, fat_, start);
    const std::uint64_t miniSectors = MiniSectorsFor(miniStreamSize_);
    miniFat_.SetLimit(static_cast<std::uint32_t>(std::min<std::uint64_t>(miniSectors, kMaxSector)));
}

SectorTable& Committed::MiniFat() {
    ReadRoot();
    return miniFat_;
}

ChainPages& Committed::MiniStream() {
    ReadRoot();
    return *miniStream_;
}

std::uint64_t Committed::MiniStreamSize() {
    ReadRoot();
    return miniStreamSize_;
}

std::uint64_t Committed::PlaceInSectors(SectorId start, std::uint64_t size) {
    if (size > std::uint64_t{volume_.SectorCount()} << volume_.SectorShift()) return kNoPlace;
    const auto count = static_cast<std::uint32_t>(volume_.SectorsFor(size));
    if (fat_.CountAdjacent(start, count) < count) return kNoPlace;
    return volume_.OffsetOf(start);
}

std::uint64_t Committed::PlaceInMiniStream(SectorId start, std::uint64_t size) {
    const auto count = static_cast<std::uint32_t>(MiniSectorsFor(size));
    if (size > MiniStreamSize() || miniFat_.CountAdjacent(start, count) < count) return kNoPlace;
    return miniRun_.Has(start, size) || FindMiniRun(start, size) ? miniRun_.PlaceOf(start) : kNoPlace;
}

bool Committed::FindMiniRun(SectorId start, std::uint64_t size) {
    const unsigned shift = volume_.SectorShift();
    const std::uint64_t offset = MiniRun::OffsetOf(start);
    const auto first = static_cast<std::uint32_t>(offset >> shift);
    const auto count = static_cast<std::uint32_t>(((offset + size - 1) >> shift) + 1 - first);
    constexpr std::uint32_t kAhead = 1024;  // sectors: the next streams are probably there, too
    const auto place = MiniStream().Sectors().Find(fat_, first, std::max(count, kAhead));
    if (!place || place->adjacent < count) return false;
    const std::uint64_t begin = std::uint64_t{first} << shift;
    miniRun_ = {begin, begin + (std::uint64_t{place->adjacent} << shift), volume_.OffsetOf(place->sector)};
    return true;
}

EntryId Committed::TreeTop() {
    if (Empty()) return kNoEntry;
    const DirectoryEntry root = At(0);
    if (root.Type() != EntryType::Root) throw Corrupt("entry 0 is not the root");
    return root.Child();
}

FoundEntry Committed::FindInTree(const EntryName& name) {
    if (Empty()) return {};
    const EntryId found = Descend(name.Folded());
    // A search that has made the index has given back the directory's memory, which the entry would need again.
    if (index_) return index_->Find(name);
    if (found != kNoEntry) {
        const FoundEntry entry{found, At(found), volume_.Head().Version()};
        NoteOrder(entry);
        return entry;
    }
    // Other programs may order names in another way, so that the name may be in the tree although the way down missed
    // it.
    if (volume_.Head().IsWrittenByUs()) return {};
    BuildIndex();
    return index_->Find(name);
}

EntryId Committed::Descend(const FoldedName& name) {
    constexpr std::uint32_t kUsualDepth = 64;  // deeper than any balanced tree
    std::uint32_t steps = 0, limit = kUsualDepth;
    EntryId id = TreeTop();
    EntryId found = kNoEntry;
    while (id != kNoEntry && found == kNoEntry) {
        if (++steps > limit && steps > (limit = EntryCount())) throw Corrupt("the directory's tree is a cycle");
        const DirectoryEntry entry = At(id);
        const int order = name.Compare(entry);
        if (order == 0 && IsMember(entry.Type())) found = id;
        id = order < 0 ? entry.Left() : entry.Right();
    }
    steps_ += steps;
    // A step of a search waits for memory, which making an index hardly does, as that reads the directory in its order.
    // A client that goes through the streams in the order of the file will probably go on: it gets the index earlier.
    constexpr std::uint64_t kStepsWorthAnIndex = 256, kEntriesPerStep = 4, kEntriesPerStepInOrder = 16;
    constexpr std::uint32_t kManyInOrder = 16;
    if (steps_ > kStepsWorthAnIndex && !indexFailed_) {
        try {
            if (steps_ > EntryCount() / (inOrder_ < kManyInOrder ? kEntriesPerStep : kEntriesPerStepInOrder)) {
                BuildIndex();
                index_->Expect(found);
            }
        } catch (const StorageError&) {  // a part of the tree is damaged, but not the way to this name
            indexFailed_ = true;
        }
    }
    return found;
}

// How many streams in a row were asked for of which each begins where the one before ends?
void Committed::NoteOrder(const FoundEntry& found) {
    if (!found.isStream) return;
    inOrder_ = found.start == nextInOrder_ ? inOrder_ + 1 : 0;
    const std::uint64_t sectors = IsMini(found.size) ? MiniSectorsFor(found.size) : volume_.SectorsFor(found.size);
    nextInOrder_ = static_cast<SectorId>(found.start + sectors);
}

void Committed::BuildIndex() {
    const Header& head = volume_.Head();
    index_.emplace(directory_, TreeTop(), EntryCount(), head.Version(), head.MiniCutoff());
    volume_.GiveBack(directory_.Sectors().Runs(fat_));
}

}  // namespace lumvex::compound
