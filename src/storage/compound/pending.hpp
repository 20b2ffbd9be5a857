// What was written and removed since the last commit: large content already stands in free sectors of the file, small
// content is kept here.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "storage/compound/names.hpp"
#include "storage/compound/sector_table.hpp"

namespace lumvex::compound {

struct Change {
    enum class Kind : std::uint8_t { Removed, Small, Large };

    FoldedName folded;
    std::array<char16_t, kMaxNameLength> units{};
    std::uint8_t length = 0;
    Kind kind = Kind::Removed;
    bool keepsOldSectors = false;  // Large: the sectors that are not in fresh are the committed stream's
    EntryId existing = kNoEntry;   // the committed stream that is replaced or removed
    std::byte* small = nullptr;    // Small, not empty
    std::uint64_t size = 0;        // bytes
    SectorId start = kEndOfChain;  // where the draft of the next state has it
    std::vector<Run> runs;         // Large: all sectors
    std::vector<Run> fresh;        // those of them that were written for this change

    std::u16string_view Name() const { return {units.data(), length}; }
};

class PendingChanges {
public:
    bool Empty() const { return live_ == 0; }
    std::size_t Count() const { return live_; }

    Change* Find(const FoldedName& name);
    Change& Add(std::u16string_view name, const FoldedName& folded, EntryId existing);
    void Erase(Change& change);  // its content is given back already

    // In the order in which they came.
    template <class Visit>
    void ForEach(Visit visit) {
        for (auto& block : blocks_)
            for (Change& change : block)
                if (change.length != 0) visit(change);
    }

    std::byte* TakeSmall(std::uint64_t size);
    void GiveSmall(std::byte* bytes, std::uint64_t size);

private:
    struct Slot {
        std::uint32_t hash = 0;
        Change* change = nullptr;  // an erased one stays in the chain of slots, with length 0
    };
    void Grow();
    void Insert(std::uint32_t hash, Change& change);

    std::vector<std::vector<Change>> blocks_;  // blocks never grow, so that changes keep their addresses
    std::vector<Slot> slots_;
    std::size_t used_ = 0, live_ = 0;

    std::vector<std::unique_ptr<std::byte[]>> slabs_;
    std::size_t slabSize_ = 0, slabUsed_ = 0;
    std::vector<std::vector<std::byte*>> returned_;  // by size in mini sectors
};

}  // namespace lumvex::compound
