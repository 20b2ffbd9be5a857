// What was written and removed since the last commit: large content already stands in free sectors of the file, small
// content is kept here.
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

// Content in sectors of its own.
struct LargeContent {
    std::vector<Run> runs;         // all of it
    std::vector<Run> fresh;        // those that were written for this change
    bool keepsOldSectors = false;  // the others are the committed stream's
    std::uint32_t batch = 0;       // in which it was written
};

struct Change {
    enum class Kind : std::uint8_t { Removed, Small, Large, Folder };

    std::array<char16_t, kMaxNameLength> units{};
    std::uint8_t length = 0;
    Kind kind = Kind::Removed;
    EntryId existing = kNoEntry;   // the committed stream that is replaced or removed
    SectorId start = kEndOfChain;  // where the draft of the next state has it
    std::uint64_t size = 0;        // bytes; of a Folder its position among what is carried
    std::byte* small = nullptr;    // Small, not empty: whole mini sectors
    std::unique_ptr<LargeContent> large;

    std::u16string_view Name() const { return {units.data(), length}; }
    FoldedName Folded() const { return FoldedName(Name()); }
    bool IsStream() const { return kind == Kind::Small || kind == Kind::Large; }
};

// What a new file takes over from another one beside the streams of the root storage: folders with all they hold, and
// what the root storage says of itself. A member is a folder, or a stream inside one.
struct CarriedMember {
    std::array<std::byte, kEntrySize> entry;  // as in the other file; links and content are given anew
    std::uint32_t first = 0, count = 0;       // a folder's members, as positions in CarriedTree::members
    Change content;                           // a stream's

    bool IsFolder() const { return Entry(entry.data()).Type() == EntryType::Storage; }
};

struct CarriedTree {
    std::array<std::byte, kEntrySize> root;  // its class ID, state bits and times count
    std::vector<CarriedMember> members;      // those of one folder in their order, side by side; the root's folders first
    std::uint32_t rootFolders = 0;
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

    // The same with the streams inside of carried folders.
    template <class Visit>
    void ForEachContent(Visit visit) {
        ForEach(visit);
        if (carried_ == nullptr) return;
        for (CarriedMember& member : carried_->members)
            if (!member.IsFolder()) visit(member.content);
    }

    void Carry(std::unique_ptr<CarriedTree> tree) noexcept { carried_ = std::move(tree); }
    const CarriedTree* Carried() const { return carried_.get(); }

    std::byte* TakeSmall(std::uint64_t size);  // room for whole mini sectors
    void GiveSmall(std::byte* bytes, std::uint64_t size) noexcept;

private:
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t number = 0;  // of a change, from 1; 0: empty. Erased changes stay in the way, with length 0.
    };
    Change& At(std::uint32_t number) {
        return blocks_[(number - 1) / kChangesPerBlock][(number - 1) % kChangesPerBlock];
    }
    void Grow();
    void Insert(Slot slot);

    static constexpr std::uint32_t kChangesPerBlock = 256;
    std::vector<std::vector<Change>> blocks_;  // blocks never grow, so that changes keep their addresses
    std::vector<Slot> slots_;
    std::size_t used_ = 0, live_ = 0;  // slots, changes

    std::vector<std::unique_ptr<std::byte[]>> slabs_;
    std::size_t slabSize_ = 0, slabUsed_ = 0;
    std::vector<std::vector<std::byte*>> returned_;  // by size in mini sectors
    std::unique_ptr<CarriedTree> carried_;
};

}  // namespace lumvex::compound
