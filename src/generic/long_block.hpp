// Memory for long blocks, of which a document may have many: arrays, pieces that objects come from, buffers. Beyond the
// first megabyte they come from regions in which the system uses large pages where it has them: clearing one page
// of 2 MiB takes a fifth of what it takes to find and clear 512 small ones, and giving it back a twentieth.
#pragma once

#include <cstddef>
#include <new>
#include <utility>

namespace lumvex {

// How the block is going to be filled: all of it at once, or little by little and maybe not to its end.
enum class Filling { AtOnce, LittleByLittle };

// Not cleared, aligned as operator new aligns, or to a power of two that is more, up to 64 KiB. Throws std::bad_alloc.
// Any thread may take blocks and give them back.
inline constexpr std::size_t kUsualAlignment = __STDCPP_DEFAULT_NEW_ALIGNMENT__;
[[nodiscard]] void* TakeLong(std::size_t size, Filling filling, std::size_t alignment = kUsualAlignment);
// Of the size and alignment it was taken with; null is no block.
void GiveLong(void* block, std::size_t size, std::size_t alignment = kUsualAlignment) noexcept;

// While one of these exists, memory of blocks that were given back is kept for the next ones, even where it is a whole
// region: for work that takes long blocks, gives all of them back and takes others.
class LongBlocksStay {
public:
    LongBlocksStay() noexcept;
    ~LongBlocksStay();
    LongBlocksStay(const LongBlocksStay&) = delete;
    LongBlocksStay& operator=(const LongBlocksStay&) = delete;
};

// Owns a long block.
class LongBlock {
public:
    LongBlock() = default;
    LongBlock(std::size_t size, Filling filling)
        : bytes_(static_cast<std::byte*>(TakeLong(size, filling))), size_(size) {}
    ~LongBlock() { GiveLong(bytes_, size_); }
    LongBlock(LongBlock&& other) noexcept
        : bytes_(std::exchange(other.bytes_, nullptr)), size_(std::exchange(other.size_, 0)) {}
    LongBlock& operator=(LongBlock&& other) noexcept {
        std::swap(bytes_, other.bytes_), std::swap(size_, other.size_);
        return *this;
    }

    std::byte* Data() const { return bytes_; }
    std::size_t Size() const { return size_; }

private:
    std::byte* bytes_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace lumvex
