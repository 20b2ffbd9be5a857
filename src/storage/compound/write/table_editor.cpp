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
    LinkChains(first, {&count, 1});
    if (next != kEndOfChain) SetNext(first + count - 1, next);
}

void TableEditor::LinkChains(SectorId first, std::span<const std::uint32_t> counts) {
    std::byte* entry = nullptr;
    SectorId sector = first;
    for (const std::uint32_t count : counts)
        for (std::uint32_t left = count; left != 0; --left, ++sector, entry += 4) {
            if (entry == nullptr || perPage_.IndexOf(sector) == 0) {
                const std::uint32_t page = perPage_.PageOf(sector);
                while (pages_.Count() <= page) pages_.Append(std::byte{0xFF});
                entry = pages_.Edit(page) + OffsetOf(sector);
            }
            Store32(entry, left == 1 ? kEndOfChain : sector + 1);
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
