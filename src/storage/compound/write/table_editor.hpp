// Changes the draft of a FAT or of a mini FAT. Both grow as entries are set; new entries are free.
#pragma once

#include "storage/compound/format/format.hpp"
#include "storage/compound/write/shadow_pages.hpp"

namespace lumvex::compound {

class TableEditor {
public:
    explicit TableEditor(ShadowPages& pages) : pages_(pages), perPageShift_(pages.Shift() - 2) {}

    void SetNext(SectorId sector, SectorId next);
    // Of a sector that stays in its chain. Corrupt where it is free, as another chain had it too and has let it go.
    void Relink(SectorId sector, SectorId next);
    void LinkRun(SectorId first, std::uint32_t count, SectorId next);
    void FreeRun(SectorId first, std::uint32_t count);  // Corrupt where one is free already

private:
    void RequireInUse(SectorId sector) const;
    std::size_t OffsetOf(SectorId sector) const { return 4 * std::size_t{sector & ((1u << perPageShift_) - 1)}; }

    ShadowPages& pages_;
    unsigned perPageShift_;
};

}  // namespace lumvex::compound
