// Changes the draft of a FAT or of a mini FAT. Setting an entry beyond its end makes it longer; the entries between are
// free.
#pragma once

#include <span>

#include "storage/compound/format/format.hpp"
#include "storage/compound/write/shadow_pages.hpp"

namespace lumvex::compound {

class TableEditor {
public:
    explicit TableEditor(ShadowPages& pages) : pages_(pages), perPage_(TableEntriesPerPage(pages.Shift())) {}

    void SetNext(SectorId sector, SectorId next);
    // For a sector that stays in its chain. Corrupt where it is free: then another chain had it too and has released
    // it.
    void Relink(SectorId sector, SectorId next);
    // Links each sector to the one after it, and the last one to next.
    void LinkRun(SectorId first, std::uint32_t count, SectorId next);
    // Chains of so many sectors each, one behind the other.
    void LinkChains(SectorId first, std::span<const std::uint32_t> counts);
    void FreeRun(SectorId first, std::uint32_t count);  // Corrupt where one of them is free already

private:
    std::size_t OffsetOf(SectorId sector) const { return 4 * std::size_t{perPage_.IndexOf(sector)}; }

    ShadowPages& pages_;
    PerPage perPage_;
};

}  // namespace lumvex::compound
