// The next state of the file while it is made: its structures as shadows of the committed ones, their changed pages in
// sectors that the committed state does not use. Dropping a draft gives these sectors back.
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
    void StartDirectoryAgain() { directory_.reset(); }
    ShadowPages& MiniFat();
    ShadowPages& MiniStream();

    TableEditor& Fat() { return table_; }  // to link sectors; those that are not needed any more are released
    // Sectors of the committed state that the next one does not use.
    void Release(SectorId first, std::uint32_t count);
    void ReleaseChain(Chain& chain, std::uint32_t fromIndex = 0);

    // Where the file is mostly gaps, structures in its second half are moved, so that its tail can be cut.
    void MoveToFront();

    // Gives sectors to the pages that changed and enters them in the header. Once, when all pages are final; the mini
    // stream first, as the directory holds where it starts.
    bool HasMiniStream() const { return miniStream_.has_value(); }
    SectorId PlaceMiniStream() { return Place(*miniStream_); }
    void PlaceStructures(Header& header);

    // Writes what was placed, in file order.
    void WriteOut();

    const std::vector<Run>& Released() const { return released_; }
    const std::vector<Run>& Taken() const { return taken_; }
    void Keep() noexcept { kept_ = true; }  // it is the committed state now

private:
    struct Shadow {
        Shadow(ChainPages& committed, SectorTable& fat, PageMemory& memory)
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
    PageMemory memory_;
    ShadowPages fat_;
    TableEditor table_;
    std::optional<Shadow> directory_, miniFat_, miniStream_;

    std::uint32_t oldFatCount_;
    std::uint32_t keptFatCount_;  // FAT sectors from here on were dropped, or are new
    std::unordered_map<std::uint32_t, SectorId> newFat_;
    std::vector<SectorId> oldDifat_, newDifat_;  // newDifat_: takes the place of as many first ones
    std::vector<bool> difatReleased_;            // of the old ones
    bool difatCut_ = false;

    struct Write {
        SectorId sector;
        const std::byte* bytes;
    };
    std::vector<Write> writes_;
    std::vector<Run> taken_, released_;
    bool kept_ = false;
};

}  // namespace lumvex::compound
