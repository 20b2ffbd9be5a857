#include "storage/compound/write/pending.hpp"

#include <algorithm>
#include <new>

namespace lumvex::compound {

namespace {

constexpr std::size_t kFirstSlab = std::size_t{1} << 14;
constexpr std::size_t kLargestSlab = std::size_t{1} << 20;

std::uint32_t HashOf(const FoldedName& name) { return static_cast<std::uint32_t>(name.Hash()); }

}  // namespace

Change* PendingChanges::Find(const FoldedName& name) {
    if (Empty()) return nullptr;
    const std::uint32_t number =
        index_.Find(HashOf(name), [&](std::uint32_t each) { return At(each).Folded() == name; });
    return number == HashIndex::kNone ? nullptr : &At(number);
}

Change& PendingChanges::Add(std::u16string_view name, const FoldedName& folded, EntryId existing) {
    index_.Reserve(index_.Count() + 1);
    if (blocks_.empty() || blocks_.back().size() == kChangesPerBlock) {
        std::vector<Change> block;
        block.reserve(kChangesPerBlock);
        blocks_.push_back(std::move(block));
    }
    const auto number = static_cast<std::uint32_t>((blocks_.size() - 1) * kChangesPerBlock + blocks_.back().size());
    Change& change = blocks_.back().emplace_back();
    std::copy(name.begin(), name.end(), change.units.begin());
    change.length = static_cast<std::uint8_t>(name.size());
    change.existing = existing;
    index_.Add(HashOf(folded), number);
    return change;
}

void PendingChanges::Erase(Change& change) noexcept {
    const std::uint32_t hash = HashOf(change.Folded());
    index_.Remove(hash, index_.Find(hash, [&](std::uint32_t each) { return &At(each) == &change; }));
    change = Change{};
    if (!Empty()) return;
    blocks_.clear();
    index_.Clear();
}

std::byte* PendingChanges::TakeSmall(std::uint64_t size) {
    const std::size_t sectors = static_cast<std::size_t>(MiniSectorsFor(size));
    if (sectors == 0) return nullptr;
    if (sectors < returned_.size() && !returned_[sectors].empty()) {
        std::byte* bytes = returned_[sectors].back();
        returned_[sectors].pop_back();
        return bytes;
    }
    const std::size_t bytes = sectors * kMiniSectorSize;
    if (slabs_.empty() || slabSize_ - slabUsed_ < bytes) {
        const std::size_t usual = slabs_.empty() ? kFirstSlab : std::min(2 * slabSize_, kLargestSlab);
        const std::size_t slabSize = std::max(usual, bytes);
        slabs_.emplace_back(slabSize, slabSize == kLargestSlab ? Filling::AtOnce : Filling::LittleByLittle);
        slabSize_ = slabSize;
        slabUsed_ = 0;
    }
    std::byte* at = slabs_.back().Data() + slabUsed_;
    slabUsed_ += bytes;
    return at;
}

// Where there is no memory to note it, this room is not used again before all changes are dropped.
void PendingChanges::GiveSmall(std::byte* bytes, std::uint64_t size) noexcept {
    const std::size_t sectors = static_cast<std::size_t>(MiniSectorsFor(size));
    if (sectors == 0) return;
    try {
        if (returned_.size() <= sectors) returned_.resize(sectors + 1);
        returned_[sectors].push_back(bytes);
    } catch (const std::bad_alloc&) {
        return;
    }
}

}  // namespace lumvex::compound
