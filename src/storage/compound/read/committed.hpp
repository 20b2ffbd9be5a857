// The state of the last commit, read as it is needed: the FAT's own sectors, the directory's tree, the mini stream.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "storage/compound/format/names.hpp"
#include "storage/compound/format/sector_table.hpp"
#include "storage/compound/read/entries.hpp"
#include "storage/compound/read/name_index.hpp"
#include "storage/compound/read/volume.hpp"

namespace lumvex::compound {

// The FAT. The header lists its first 109 sectors, a chain of DIFAT sectors the others.
class FatPages final : public Pages {
public:
    explicit FatPages(Volume& volume) : Pages(volume.SectorShift()), volume_(volume) {}

    SectorId Location(std::uint32_t index);                     // of a FAT sector; Corrupt beyond the last
    std::optional<SectorId> FindLocation(std::uint32_t index);  // the same; none beyond the last
    const std::vector<SectorId>& DifatSectors();                // all of them, in order

    const std::byte* PageOnce(std::uint32_t index) override;

    void Forget() noexcept { difat_.clear(), window_.Forget(), ForgetLast(); }  // all that was found so far

    // These pages, which a commit is going to change, and the pages that change with them: those that hold the entries
    // of these pages' own sectors. Few pages are assumed.
    std::vector<std::uint32_t> ChangedWith(std::vector<std::uint32_t> pages);

private:
    const std::byte* Fetch(std::uint32_t index) override { return volume_.Sector(Location(index)); }
    const std::byte* FetchPartOnce(std::uint32_t index, std::size_t at, std::size_t count) override;
    const std::byte* PageInWindow(std::uint32_t index, std::size_t bytes);  // to be read together
    bool ReadOneMore();

    Volume& volume_;
    std::vector<SectorId> difat_;  // the DIFAT sectors found so far
    FileView::Window window_;
};

// A structure in a chain of sectors: the directory, the mini FAT, the mini stream.
class ChainPages final : public Pages {
public:
    enum class Asked { InAnyOrder, MostlyInOrder };
    ChainPages(Volume& volume, SectorTable& fat, SectorId first, Asked asked = Asked::InAnyOrder)
        : Pages(volume.SectorShift()), volume_(volume), fat_(fat), chain_(first), asked_(asked) {}

    Chain& Sectors() { return chain_; }
    void Forget() noexcept { chain_ = Chain(chain_.First()), ForgetLast(); }  // all that was found so far

private:
    const std::byte* Fetch(std::uint32_t index) override;
    std::span<const std::byte> FetchPart(std::uint32_t index, std::size_t at, std::size_t count) override {
        return volume_.IsMapped() ? Pages::FetchPart(index, at, count)
                                  : volume_.PartOfSector(SectorOf(index), at, count);
    }
    SectorId SectorOf(std::uint32_t index);  // Corrupt beyond the end of the chain

    Volume& volume_;
    SectorTable& fat_;
    Chain chain_;
    Asked asked_;
};

// Visits the streams and folders of a tree in its order; Corrupt as VisitInOrder.
void WalkTree(Pages& directory, EntryId top, std::uint32_t limit,
              const std::function<void(EntryId, const DirectoryEntry&)>& visit);

class Committed {
public:
    explicit Committed(Volume& volume);
    Committed(const Committed&) = delete;
    Committed& operator=(const Committed&) = delete;

    Volume& GetVolume() { return volume_; }
    void ViewsMoved() noexcept;  // to be called when the file was mapped again

    // ReadFault where mapped bytes could not be read since this was asked last. Then all that was found is forgotten,
    // as it may come from zeros in place of the file's bytes.
    void RequireReadable() {
        const File::Shown shown = volume_.LookAtMap();
        if (shown != File::Shown::Whole && (shown == File::Shown::Failed || !IsWhole())) FailToRead();
    }
    // The result of work that reads; ReadFault instead of it, or of its own error, where bytes could not be read.
    template <class Work>
    auto Reading(Work&& work) {
        try {
            auto result = work();
            RequireReadable();
            return result;
        } catch (const StorageError&) {
            RequireReadable();
            throw;
        }
    }

    void Retire() noexcept { retired_ = true; }  // to be called when a later commit has taken its place
    bool IsRetired() const { return retired_; }
    FatPages& FatSectors() { return fatPages_; }
    SectorTable& Fat() { return fat_; }
    ChainPages& Directory() { return directory_; }
    ChainPages& MiniFatSectors() { return miniFatPages_; }
    SectorTable& MiniFat();
    ChainPages& MiniStream();
    std::uint64_t MiniStreamSize();

    bool Empty() const { return volume_.Head().FirstDirectory() == kEndOfChain; }  // before the first commit
    std::uint32_t EntryCount();  // of the directory, unallocated ones included
    EntryId TreeTop();           // of the root storage's tree; kNoEntry where it is empty
    DirectoryEntry At(EntryId id) { return EntryAt(directory_, id); }
    bool IsMini(std::uint64_t size) const { return size < volume_.Head().MiniCutoff(); }

    // Where a stream's bytes are in the file, when they are adjacent; kNoPlace where they are not, or where there
    // cannot be a stream of this size. (A number and no optional one: an optional is put together in memory and read
    // back in another size, which waits until everything that was written before is in the cache.)
    static constexpr std::uint64_t kNoPlace = 0;  // the header is there
    std::uint64_t PlaceOf(SectorId start, std::uint64_t size) {
        if (!IsMini(size)) return PlaceInSectors(start, size);
        const auto count = static_cast<std::uint32_t>(MiniSectorsFor(size));
        return size <= miniStreamSize_ && miniRun_.Has(start, size) && miniFat_.AreKnownAdjacent(start, count)
                   ? miniRun_.PlaceOf(start)
                   : PlaceInMiniStream(start, size);
    }

    // Visits the root storage's tree in its order. Where this throws, what was visited may be wrong.
    void Walk(const std::function<void(EntryId, const DirectoryEntry&)>& visit) {
        Reading([&] { return WalkTree(directory_, TreeTop(), EntryCount(), visit), true; });
    }

    // A stream or a folder of the root storage; none where there is none of the name.
    FoundEntry Find(const EntryName& name) { return index_ ? index_->Find(name) : FindInTree(name); }
    EntryId Find(const FoldedName& name) { return Find(EntryName(name)).id; }

private:
    std::uint64_t PlaceInMiniStream(SectorId start, std::uint64_t size);
    std::uint64_t PlaceInSectors(SectorId start, std::uint64_t size);
    bool FindMiniRun(SectorId start, std::uint64_t size);
    FoundEntry FindInTree(const EntryName& name);
    EntryId Descend(const FoldedName& name);
    void NoteOrder(const FoundEntry& found);
    void BuildIndex();
    void ReadRoot() {
        if (!miniStream_) ReadRootEntry();
    }
    void ReadRootEntry();
    bool IsWhole();
    [[noreturn]] void FailToRead();

    Volume& volume_;
    bool retired_ = false;
    FatPages fatPages_;
    SectorTable fat_;
    ChainPages directory_;
    ChainPages miniFatPages_;
    SectorTable miniFat_;
    std::optional<ChainPages> miniStream_;  // once the root entry was read
    std::uint64_t miniStreamSize_ = 0;

    // Bytes of the mini stream that are adjacent in the file: those around the last stream that was looked for.
    struct MiniRun {
        std::uint64_t begin = 0, end = 0, inFile = 0;  // inFile: where the first of them is

        static std::uint64_t OffsetOf(SectorId start) { return std::uint64_t{start} << kMiniSectorShift; }
        bool Has(SectorId start, std::uint64_t size) const {
            return OffsetOf(start) >= begin && OffsetOf(start) + size <= end;
        }
        std::uint64_t PlaceOf(SectorId start) const { return inFile + (OffsetOf(start) - begin); }
    } miniRun_;

    std::optional<NameIndex> index_;  // once searching the tree has cost as much as making it
    std::uint64_t steps_ = 0;
    std::uint32_t inOrder_ = 0;  // streams that were asked for in the order of the file, one after the other
    SectorId nextInOrder_ = 0;   // where the next one of them begins
    bool indexFailed_ = false;
};

}  // namespace lumvex::compound
