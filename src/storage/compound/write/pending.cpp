#include "storage/compound/write/pending.hpp"

#include <algorithm>
#include <bit>
#include <new>

namespace lumvex::compound {

namespace {

constexpr std::size_t kFirstSlab = std::size_t{1} << 14;
constexpr std::size_t kLargestSlab = std::size_t{1} << 20;

std::size_t WholeMiniSectors(std::uint64_t size) {
    return static_cast<std::size_t>((size + kMiniSectorSize - 1) / kMiniSectorSize);
}

}  // namespace

Change* PendingChanges::Find(const FoldedName& name) {
    if (live_ == 0) return nullptr;
    const auto hash = static_cast<std::uint32_t>(name.Hash());
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t at = hash & mask; slots_[at].number != 0; at = (at + 1) & mask) {
        if (slots_[at].hash != hash) continue;
        Change& change = At(slots_[at].number);
        if (change.length != 0 && change.Folded() == name) return &change;
    }
    return nullptr;
}

Change& PendingChanges::Add(std::u16string_view name, const FoldedName& folded, EntryId existing) {
    if (2 * (used_ + 1) > slots_.size()) Grow();
    if (blocks_.empty() || blocks_.back().size() == kChangesPerBlock) {
        std::vector<Change> block;
        block.reserve(kChangesPerBlock);
        blocks_.push_back(std::move(block));
    }
    Change& change = blocks_.back().emplace_back();
    std::copy(name.begin(), name.end(), change.units.begin());
    change.length = static_cast<std::uint8_t>(name.size());
    change.existing = existing;
    const std::size_t number = (blocks_.size() - 1) * kChangesPerBlock + blocks_.back().size();
    Insert({static_cast<std::uint32_t>(folded.Hash()), static_cast<std::uint32_t>(number)});
    ++live_;
    return change;
}

void PendingChanges::Insert(Slot slot) {
    std::size_t at = slot.hash & (slots_.size() - 1);
    while (slots_[at].number != 0) at = (at + 1) & (slots_.size() - 1);
    slots_[at] = slot;
    ++used_;
}

void PendingChanges::Grow() {
    std::vector<Slot> old(std::bit_ceil(4 * std::max<std::size_t>(live_, 4)));
    old.swap(slots_);
    const bool anyErased = used_ != live_;
    used_ = 0;
    for (const Slot& slot : old)
        if (slot.number != 0 && (!anyErased || At(slot.number).length != 0)) Insert(slot);
}

void PendingChanges::Erase(Change& change) {
    change = Change{};
    if (--live_ == 0) {
        blocks_.clear();
        slots_.clear();
        used_ = 0;
    }
}

std::byte* PendingChanges::TakeSmall(std::uint64_t size) {
    const std::size_t sectors = WholeMiniSectors(size);
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
        slabs_.push_back(std::unique_ptr<std::byte[]>(new std::byte[slabSize]));
        slabSize_ = slabSize;
        slabUsed_ = 0;
    }
    std::byte* at = slabs_.back().get() + slabUsed_;
    slabUsed_ += bytes;
    return at;
}

// Without memory to note it, it is not used again.
void PendingChanges::GiveSmall(std::byte* bytes, std::uint64_t size) noexcept {
    const std::size_t sectors = WholeMiniSectors(size);
    if (sectors == 0) return;
    try {
        if (returned_.size() <= sectors) returned_.resize(sectors + 1);
        returned_[sectors].push_back(bytes);
    } catch (const std::bad_alloc&) {
        return;
    }
}

}  // namespace lumvex::compound
