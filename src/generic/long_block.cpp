#include "generic/long_block.hpp"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

#include "generic/fresh_memory.hpp"

namespace lumvex {

namespace {

constexpr std::size_t kGrain = 1024;  // blocks of a region begin and end at multiples of this
constexpr std::size_t kRegionSize = 4 * kLargePage;
constexpr std::size_t kGrains = kRegionSize / kGrain;
constexpr std::size_t kLongest = kRegionSize / 2;             // in a region with others
constexpr std::size_t kMostAligned = std::size_t{64} * 1024;  // where every system begins a region, at least
// So much comes from operator new: for less than half of a large page, small ones take less time.
constexpr std::size_t kOutside = std::size_t{1024} * 1024;

constexpr std::size_t RoundedUp(std::size_t size, std::size_t to) { return (size + to - 1) / to * to; }

enum class Memory { Touched, Any };

class Region {
public:
    Region() noexcept : begin_(static_cast<std::byte*>(TakeRegion(kRegionSize))) {}
    ~Region() {
        if (begin_) GiveRegion(begin_, kRegionSize);
    }
    Region(const Region&) = delete;
    Region& operator=(const Region&) = delete;

    std::byte* Begin() const { return begin_; }  // null: there was no memory
    bool IsEmpty() const { return used_ == 0; }

    // Null where there is no room for so many grains side by side, the first of them a multiple of `alignment`, or none
    // in what was touched before.
    std::byte* Take(std::size_t count, std::size_t alignment, Memory memory) noexcept {
        const bool mayTouch = memory == Memory::Any;
        std::size_t& tooMany = mayTouch ? tooMany_ : tooManyInTouched_;
        if (count >= tooMany) return nullptr;
        const std::size_t end = mayTouch ? kGrains : touched_ / kGrain;
        std::size_t first = FindFree(next_, count, alignment, end);
        if (first == kGrains) first = FindFree(0, count, alignment, end);
        if (first == kGrains) {
            tooMany = count;
            return nullptr;
        }
        std::memset(&taken_[first], kTaken, count);
        used_ += count;
        next_ = first + count;
        TouchUpTo(next_ * kGrain);
        return begin_ + first * kGrain;
    }

    // The next search begins here.
    void Give(const std::byte* block, std::size_t count) noexcept {
        const std::size_t first = static_cast<std::size_t>(block - begin_) / kGrain;
        std::memset(&taken_[first], kFree, count);
        next_ = std::min(next_, first);
        used_ -= count;
        tooMany_ = tooManyInTouched_ = kGrains + 1;
    }

private:
    static constexpr std::uint8_t kFree = 0, kTaken = 1;

    // The first of so many free grains side by side, from `from` on and before `end`; kGrains where there are none.
    std::size_t FindFree(std::size_t from, std::size_t count, std::size_t alignment, std::size_t end) const noexcept {
        const auto find = [this](std::uint8_t what, std::size_t begin, std::size_t until) {
            const void* const found = std::memchr(&taken_[begin], what, until - begin);
            return found ? static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - taken_.data()) : until;
        };
        while (from + count <= end) {
            const std::size_t first = RoundedUp(find(kFree, from, end), alignment);
            if (first + count > end) break;
            from = find(kTaken, first, first + count);
            if (from == first + count) return first;
        }
        return kGrains;
    }

    // Large pages are asked for when the first block reaches them.
    void TouchUpTo(std::size_t end) noexcept {
        if (end <= touched_) return;
        const std::size_t upTo = RoundedUp(end, kLargePage);
        AboutToFill(begin_ + touched_, upTo - touched_);
        touched_ = upTo;
        tooManyInTouched_ = kGrains + 1;
    }

    std::byte* begin_;
    std::size_t used_ = 0, next_ = 0;             // grains that are taken; where the search begins
    std::size_t tooMany_ = kGrains + 1;           // since a block came back, there was no room found for so many
    std::size_t tooManyInTouched_ = kGrains + 1;  // the same, and since more was touched
    std::size_t touched_ = 0;                     // bytes
    std::array<std::uint8_t, kGrains> taken_{};
};

// Holds nothing once all blocks are back, unless regions stay.
struct Regions {
    std::mutex mutex;
    std::vector<std::unique_ptr<Region>>* all = nullptr;  // by address; made with the first, deleted with the last
    Region* last = nullptr;                               // the one that had room last, or got it
    std::size_t outside = 0;                              // bytes of blocks of operator new
    std::size_t staying = 0;                              // while not 0, empty regions stay

    // Null where the system has no memory for a region. Throws std::bad_alloc.
    std::byte* Take(std::size_t grains, std::size_t alignment) {
        if (!all) all = new std::vector<std::unique_ptr<Region>>;
        for (const Memory memory : {Memory::Touched, Memory::Any})
            if (std::byte* const block = TakeFromOne(grains, alignment, memory)) return block;
        all->reserve(all->size() + 1);
        auto made = std::make_unique<Region>();
        if (!made->Begin()) return nullptr;
        last = made.get();
        all->insert(Behind(made->Begin()), std::move(made));
        return last->Take(grains, alignment, Memory::Any);
    }

    std::byte* TakeFromOne(std::size_t grains, std::size_t alignment, Memory memory) {
        if (last)
            if (std::byte* const block = last->Take(grains, alignment, memory)) return block;
        for (const auto& each : *all) {
            if (std::byte* const block = each->Take(grains, alignment, memory)) {
                last = each.get();
                return block;
            }
        }
        return nullptr;
    }

    // False where the block is not of a region.
    bool Give(const std::byte* block, std::size_t grains) noexcept {
        if (!all) return false;
        const auto behind = Behind(block);
        if (behind == all->begin()) return false;
        const auto found = behind - 1;
        Region& region = **found;
        if (block >= region.Begin() + kRegionSize) return false;
        region.Give(block, grains);
        last = &region;
        if (region.IsEmpty() && staying == 0) DropEmpty();
        return true;
    }

    void DropEmpty() noexcept {
        if (!all) return;
        if (last && last->IsEmpty()) last = nullptr;
        std::erase_if(*all, [](const auto& region) { return region->IsEmpty(); });
        if (all->empty()) delete std::exchange(all, nullptr);
    }

    std::vector<std::unique_ptr<Region>>::iterator Behind(const std::byte* block) const {
        return std::upper_bound(all->begin(), all->end(), block,
                                [](const std::byte* at, const auto& region) { return at < region->Begin(); });
    }
};

// Objects of clients may give blocks back when static objects of this library are gone: so this one is not destroyed.
Regions& TheRegions() {
    alignas(Regions) static std::byte room[sizeof(Regions)];
    static Regions& regions = *new (room) Regions;
    return regions;
}

constexpr std::size_t GrainsFor(std::size_t size) { return RoundedUp(std::max<std::size_t>(size, 1), kGrain) / kGrain; }

}  // namespace

void* TakeLong(std::size_t size, Filling filling, std::size_t alignment) {
    assert(alignment <= kMostAligned);
    Regions& regions = TheRegions();
    void* block = nullptr;
    if (size > kLongest) {
        block = TakeRegion(RoundedUp(size, kGrain * 4));
        if (!block) throw std::bad_alloc();
    } else {
        {
            const std::scoped_lock lock(regions.mutex);
            if (regions.outside + size > kOutside)
                if (void* const inRegion = regions.Take(GrainsFor(size), GrainsFor(alignment))) return inRegion;
        }
        block = ::operator new(size, std::align_val_t(alignment));
        const std::scoped_lock lock(regions.mutex);
        regions.outside += size;
    }
    if (filling == Filling::AtOnce) AboutToFill(block, size);
    return block;
}

void GiveLong(void* block, std::size_t size, std::size_t alignment) noexcept {
    if (!block) return;
    if (size > kLongest) return GiveRegion(block, RoundedUp(size, kGrain * 4));
    Regions& regions = TheRegions();
    {
        const std::scoped_lock lock(regions.mutex);
        if (regions.Give(static_cast<const std::byte*>(block), GrainsFor(size))) return;
        regions.outside -= size;
    }
    ::operator delete(block, std::align_val_t(alignment));
}

LongBlocksStay::LongBlocksStay() noexcept {
    Regions& regions = TheRegions();
    const std::scoped_lock lock(regions.mutex);
    ++regions.staying;
}

LongBlocksStay::~LongBlocksStay() {
    Regions& regions = TheRegions();
    const std::scoped_lock lock(regions.mutex);
    if (--regions.staying == 0) regions.DropEmpty();
}

}  // namespace lumvex
