// One stream that was written or removed since the last commit.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "storage/compound/format/names.hpp"
#include "storage/compound/format/sector_table.hpp"

namespace lumvex::compound {

// Content in sectors of its own, which are free in the committed state.
struct LargeContent {
    std::vector<Run> runs;         // all of it
    std::vector<Run> fresh;        // those that were written for this change
    bool keepsOldSectors = false;  // the other runs are the committed stream's
    std::uint32_t batch = 0;       // in which it was written (see Volume::Batch)
};

struct Change {
    enum class Kind : std::uint8_t { Removed, Small, Large, Folder };

    std::array<char16_t, kMaxNameLength> units{};
    std::uint8_t length = 0;  // of the name, in units
    Kind kind = Kind::Removed;
    EntryId existing = kNoEntry;   // the committed stream that is replaced or removed
    SectorId start = kEndOfChain;  // the first sector in the next state, once a commit has drafted that
    std::uint64_t size = 0;        // bytes; of a Folder its position in CarriedTree::members
    std::byte* small = nullptr;    // of Small content that is not empty: whole mini sectors
    std::unique_ptr<LargeContent> large;

    std::u16string_view Name() const { return {units.data(), length}; }
    FoldedName Folded() const { return FoldedName(Name()); }
    bool IsStream() const { return kind == Kind::Small || kind == Kind::Large; }
};

}  // namespace lumvex::compound
