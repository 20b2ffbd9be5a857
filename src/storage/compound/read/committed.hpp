// The state of the last commit, read as it is needed: where the FAT stands, the directory's tree, the mini stream.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "storage/compound/format/names.hpp"
#include "storage/compound/format/sector_table.hpp"
#include "storage/compound/read/volume.hpp"

namespace lumvex::compound {

// Where the FAT's own sectors stand: the first 109 in the header, the others in the chain of DIFAT sectors.
class FatPages final : public Pages {
public:
    explicit FatPages(Volume& volume) : Pages(volume.SectorShift()), volume_(volume) {}

    SectorId Location(std::uint32_t index);                     // Corrupt beyond the last
    std::optional<SectorId> FindLocation(std::uint32_t index);  // none beyond the last
    const std::vector<SectorId>& DifatSectors();                // all of them, in order

    void Forget() noexcept { difat_.clear(), ForgetLast(); }  // what was found so far

    // A few pages that change, and those that change with them, as they describe where these stand.
    std::vector<std::uint32_t> ChangedWith(std::vector<std::uint32_t> pages);

private:
    const std::byte* Fetch(std::uint32_t index) override { return volume_.Sector(Location(index)); }
    bool ReadOneMore();

    Volume& volume_;
    std::vector<SectorId> difat_;  // as far as they are known
};

class ChainPages final : public Pages {
public:
    ChainPages(Volume& volume, SectorTable& fat, SectorId first)
        : Pages(volume.SectorShift()), volume_(volume), fat_(fat), chain_(first) {}

    Chain& Sectors() { return chain_; }
    void Forget() noexcept { chain_ = Chain(chain_.First()), ForgetLast(); }  // what was found so far

private:
    const std::byte* Fetch(std::uint32_t index) override;

    Volume& volume_;
    SectorTable& fat_;
    Chain chain_;
};

// Visits a sibling tree in its order, without recursion, at most limit entries (Corrupt where there are more: a cycle).
void WalkTree(Pages& directory, EntryId top, std::uint32_t limit,
              const std::function<void(EntryId, const Entry&)>& visit);

// Corrupt beyond the directory's end.
[[nodiscard]] inline Entry EntryAt(Pages& directory, EntryId id) {
    const unsigned perPageShift = directory.Shift() - 7;
    return Entry(directory.Page(id >> perPageShift) + kEntrySize * (id & ((1u << perPageShift) - 1)));
}

class Committed {
public:
    explicit Committed(Volume& volume);
    Committed(const Committed&) = delete;
    Committed& operator=(const Committed&) = delete;

    Volume& OnDisk() { return volume_; }
    void ViewsMoved() noexcept;                  // the file was mapped again

    // ReadFault where mapped bytes could not be read since it was asked last; what was found since is forgotten.
    void RequireReadable() {
        const File::Shown shown = volume_.LookAtMap();
        if (shown != File::Shown::Whole && (shown == File::Shown::Failed || !IsWhole())) FailToRead();
    }
    // Reads, and answers only with what could be read.
    template <class Work>
    auto Reading(Work&& work) {
        try {
            auto result = work();
            RequireReadable();
            return result;
        } catch (const Error&) {
            RequireReadable();
            throw;
        }
    }

    void Retire() noexcept { retired_ = true; }  // a later commit took its place
    bool IsRetired() const { return retired_; }
    FatPages& FatSectors() { return fatPages_; }
    SectorTable& Fat() { return fat_; }
    ChainPages& Directory() { return directory_; }
    ChainPages& MiniFatSectors() { return miniFatPages_; }
    SectorTable& MiniFat();
    ChainPages& MiniStream();
    std::uint64_t MiniStreamSize();

    bool Empty() const { return volume_.Head().FirstDirectory() == kEndOfChain; }  // nothing was committed yet
    std::uint32_t EntryCount();                                                    // unallocated ones included
    EntryId TreeTop();
    Entry At(EntryId id) { return EntryAt(directory_, id); }
    bool IsMini(std::uint64_t size) const { return size < volume_.Head().MiniCutoff(); }

    // Visits the root storage's tree in its order; what was visited counts only where this does not throw.
    void Walk(const std::function<void(EntryId, const Entry&)>& visit) {
        Reading([&] { return WalkTree(directory_, TreeTop(), EntryCount(), visit), true; });
    }

    // A stream or a folder of the root storage.
    std::optional<EntryId> Find(const FoldedName& name);

private:
    std::optional<EntryId> Descend(const FoldedName& name);
    std::optional<EntryId> LookUp(const FoldedName& name);
    void BuildIndex();
    void ReadRoot();
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

    // Names by their hash, made when searching has cost as much as making it.
    struct Slot {
        std::uint32_t hash = 0;
        EntryId id = kNoEntry;
    };
    std::vector<Slot> index_;
    std::uint64_t steps_ = 0;
    bool indexFailed_ = false;
};

}  // namespace lumvex::compound
