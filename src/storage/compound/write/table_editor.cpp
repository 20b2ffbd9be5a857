#include "storage/compound/write/table_editor.hpp"

#include <algorithm>

#include "storage/compound/base/error.hpp"

namespace lumvex::compound {

namespace {

void RequireInUse(const std::byte* entry, SectorId sector) {
    if (Load32(entry) == kFreeSector) throw Corrupt("sector ", sector, " is in two chains");
}

}  // namespace

void TableEditor::SetNext(SectorId sector, SectorId next) {
    const std::uint32_t page = perPage_.PageOf(sector);
    while (pages_.Count() <= page) pages_.Append(std::byte{0xFF});
    if (Load32(pages_.Page(page) + OffsetOf(sector)) != next) Store32(pages_.Edit(page) + OffsetOf(sector), next);
}

void TableEditor::Relink(SectorId sector, SectorId next) {
    RequireInUse(pages_.Page(perPage_.PageOf(sector)) + OffsetOf(sector), sector);
    SetNext(sector, next);
}

void TableEditor::LinkRun(SectorId first, std::uint32_t count, SectorId next) {
    const SectorId behind = first + count;
    while (pages_.Count() <= perPage_.PageOf(behind - 1)) pages_.Append(std::byte{0xFF});
    for (SectorId sector = first; sector < behind;) {
        const std::uint32_t page = perPage_.PageOf(sector);
        const std::uint64_t pageEnd = (std::uint64_t{page} + 1) << perPage_.Shift();
        const auto end = static_cast<SectorId>(std::min<std::uint64_t>(behind, pageEnd));
        std::byte* entry = pages_.Edit(page) + OffsetOf(sector);
        for (; sector < end; ++sector, entry += 4) Store32(entry, sector + 1 == behind ? next : sector + 1);
    }
}

void TableEditor::FreeRun(SectorId first, std::uint32_t count) {
    for (SectorId sector = first, last = first + count; sector < last;) {
        const std::uint32_t page = perPage_.PageOf(sector);
        const SectorId end = std::min(last, static_cast<SectorId>((page + 1) << perPage_.Shift()));
        std::byte* entry = pages_.Edit(page) + OffsetOf(sector);
        for (; sector < end; ++sector, entry += 4) {
            RequireInUse(entry, sector);
            Store32(entry, kFreeSector);
        }
    }
}

}  // namespace lumvex::compound
