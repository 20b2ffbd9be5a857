// The next state of the file while a commit makes it: drafts of its structures, whose changed pages get sectors that
// the committed state does not use. A draft that is dropped without Keep() gives these sectors back.
#pragma once

#include <optional>
#include <unordered_map>
#include <vector>

#include "storage/compound/read/committed.hpp"
#include "storage/compound/write/shadow_pages.hpp"
#include "storage/compound/write/space.hpp"
#include "storage/compound/write/table_editor.hpp"

namespace lumvex::compound {

class Draft {
public:
    Draft(Committed& committed, Space& space);
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;
    ~Draft();

    ShadowPages& Directory();
    void StartDirectoryAgain() { directory_.reset(); }  // drops all changes to it
    ShadowPages& MiniFat();
    ShadowPages& MiniStream();

    TableEditor& Fat() { return table_; }  // for links; sectors that are not needed any more go to Release
    // Sectors of the committed state that the next one does not use.
    void Release(SectorId first, std::uint32_t count);
    void ReleaseChain(Chain& chain, std::uint32_t fromIndex = 0);

    // Where more than half of the file is free, moves the pages of structures in its second half, so that its end can
    // be cut.
    void MoveToFront();

    // Gives sectors to the pages that changed, and enters where structures begin in the header. To be called once, when
    // no page changes any more; for the mini stream first, as the directory says where that begins. PlaceStructures
    // places the mini FAT too, unless that was done before.
    bool HasMiniStream() const { return miniStream_.has_value(); }
    SectorId PlaceMiniStream() { return Place(*miniStream_); }
    void PlaceMiniFat(Header& header);
    void PlaceStructures(Header& header);

    // The directory of a new file, in place of Directory(): each of its pages is made once, in order, and few of them
    // are in memory at a time. The caller sets all bytes of a page before it asks for the next one, which may write
    // those before. The last ones are written by WriteOut.
    void StartNewDirectory(Header& header, std::uint32_t pages);
    std::byte* NextDirectoryPage();
    bool HasNewDirectory() const { return newDirectory_.made != 0; }

    // Writes what was placed since the last time, in file order.
    void WriteOut();

    const std::vector<Run>& Released() const { return released_; }
    const std::vector<Run>& Taken() const { return taken_; }
    void Keep() noexcept { kept_ = true; }  // to be called when this is the committed state

private:
    struct Shadow {  // the draft of a structure that lies in a chain
        Shadow(ChainPages& committed, SectorTable& fat, GrowingMemory& memory)
            : chain(committed.Sectors()), oldCount(chain.Length(fat)), pages(committed, oldCount, memory) {}
        Chain& chain;
        std::uint32_t oldCount;
        ShadowPages pages;
    };
    SectorId Place(Shadow& shadow);
    std::vector<Run> Take(std::uint32_t count, SectorId old = kFreeSector);
    SectorId TakeOne();
    void DropUnusedFat();
    void PlaceFat(Header& header);
    bool PlaceDirtyFat();
    bool PlaceDifat();
    void ReleaseDifat(std::size_t index);
    std::uint32_t DifatNeeded() const;
    std::uint32_t DifatChanged() const;
    void WriteDifat(Header& header);
    std::optional<SectorId> FatLocation(std::uint32_t index);
    bool RulesHold();

    Committed& committed_;
    Space& space_;
    GrowingMemory memory_;
    ShadowPages fat_;
    TableEditor table_;
    std::optional<Shadow> directory_, miniFat_, miniStream_;

    struct NewDirectory {
        std::vector<SectorId> sectors;
        std::byte* room = nullptr;  // for so many pages, which are used again and again
        std::uint32_t roomPages = 0;
        std::uint32_t made = 0;
    };
    NewDirectory newDirectory_;

    std::uint32_t oldFatCount_;
    std::uint32_t keptFatCount_;                          // committed FAT sectors from this one on were dropped
    std::unordered_map<std::uint32_t, SectorId> newFat_;  // by page: where changed pages of the FAT go
    std::vector<SectorId> oldDifat_, newDifat_;  // the new ones take the places of as many old ones, from the first on
    std::vector<bool> difatReleased_;            // for each old one
    bool difatCut_ = false;                      // old ones at the end were dropped

    struct Write {
        SectorId sector;
        const std::byte* bytes;
    };
    std::vector<Write> writes_;
    std::vector<Run> taken_, released_;
    bool kept_ = false;
};

}  // namespace lumvex::compound
