#include "core/objects/block_pool.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <cstdint>
#include <new>

#include "core/objects/guard.hpp"
#include "generic/long_block.hpp"
#include "generic/prefetch.hpp"

namespace lumvex::inside {

namespace {

constexpr std::size_t kLargest = 512;  // bytes: longer blocks are from no piece
// Pieces begin at multiples of this, so that a block's address says which piece it is from.
constexpr std::size_t kPieceAlignment = std::size_t{32} * 1024;
constexpr std::size_t kPieceSize = kPieceAlignment - 64;  // leaves operator new room for what it needs beside each

// Arrays have many sizes. In finer steps the pieces of so many sizes would be filled side by side that it takes longer.
constexpr std::size_t kFineSteps = 128;  // up to this size
constexpr std::size_t StrideFor(std::size_t size) {
    const std::size_t step = size <= kFineSteps ? kBlockAlignment : 2 * kBlockAlignment;
    return (std::max<std::size_t>(size, 1) + step - 1) & ~(step - 1);  // steps are powers of two
}

struct FreeBlock {
    FreeBlock* next;
};
static_assert(sizeof(FreeBlock) <= StrideFor(1));

// At the beginning of its memory; its blocks follow.
struct alignas(kBlockAlignment) Piece {
    Piece* before = nullptr;  // among the listed pieces of this size
    Piece* after = nullptr;
    FreeBlock* free = nullptr;    // blocks that came back
    std::uint32_t used = 0;       // blocks that are out
    std::uint32_t stride = 0;     // from one block to the next, in bytes
    std::uint32_t untouched = 0;  // where the part begins that has not been given out yet
    bool isListed = false;

    std::byte* At(std::size_t offset) { return reinterpret_cast<std::byte*>(this) + offset; }
    bool HasRoom() const { return free || untouched + stride <= kPieceSize; }
};

// The memory of the first pieces is a static array. A new piece touches one page of it; the general allocator would
// touch three more for its own notes, and finding and clearing these is a noticeable part of opening a document to read
// one object. Guarded by the module lock.
class FirstPieces {
public:
    void* Take() noexcept {  // null when all are out
        const auto at = static_cast<std::size_t>(std::countr_one(taken_));
        if (at >= kCount) return nullptr;
        taken_ |= std::uint32_t{1} << at;
        return Begin() + at * kPieceAlignment;
    }
    bool Give(void* piece) noexcept {  // false: it is no such piece
        const auto begin = reinterpret_cast<std::uintptr_t>(Begin());
        const std::size_t at = (reinterpret_cast<std::uintptr_t>(piece) - begin) / kPieceAlignment;
        if (at >= kCount) return false;
        taken_ &= ~(std::uint32_t{1} << at);
        return true;
    }

private:
    static constexpr std::size_t kCount = 8;

    std::byte* Begin() {  // not every system can align what is part of a program in this way
        const auto begin = reinterpret_cast<std::uintptr_t>(memory_.data());
        return memory_.data() + ((begin + kPieceAlignment - 1) & ~(kPieceAlignment - 1)) - begin;
    }

    std::uint32_t taken_ = 0;  // a bit for each
    std::array<std::byte, (kCount + 1) * kPieceAlignment> memory_{};
};
constinit FirstPieces firstPieces;

// Lists of pieces, by stride. Every piece that has room is listed. One that becomes full stays listed until the next
// block is looked for in it. Blocks come from the first piece of a list. Guarded by the module lock.
constinit std::array<Piece*, StrideFor(kLargest) / kBlockAlignment + 1> pieces{};

Piece*& FirstOf(std::size_t stride) { return pieces[stride / kBlockAlignment]; }

// StrideFor() of each size in steps of kBlockAlignment, in such steps: looking it up is shorter than computing it.
constexpr auto kStrides = [] {
    std::array<std::uint8_t, kLargest / kBlockAlignment + 1> strides{};
    for (std::size_t at = 0; at < strides.size(); ++at)
        strides[at] = static_cast<std::uint8_t>(StrideFor(at * kBlockAlignment) / kBlockAlignment);
    return strides;
}();
Piece* FirstFor(std::size_t size) { return pieces[kStrides[(size + kBlockAlignment - 1) / kBlockAlignment]]; }

Piece& PieceOf(void* block) {
    return *reinterpret_cast<Piece*>(reinterpret_cast<std::uintptr_t>(block) & ~(kPieceAlignment - 1));
}

void Link(Piece& piece) noexcept {
    Piece*& first = FirstOf(piece.stride);
    piece.before = nullptr;
    piece.after = first;
    if (first) first->before = &piece;
    first = &piece;
    piece.isListed = true;
}

void Unlink(Piece& piece) noexcept {
    (piece.before ? piece.before->after : FirstOf(piece.stride)) = piece.after;
    if (piece.after) piece.after->before = piece.before;
    piece.isListed = false;
}

// The next piece that has room, now the first one.
[[gnu::noinline]] Piece& NextPiece(std::size_t stride) {
    while (Piece* const first = FirstOf(stride)) {
        if (first->HasRoom()) return *first;
        Unlink(*first);
    }
    void* const first = firstPieces.Take();
    Piece& made = *new (first ? first : TakeLong(kPieceSize, Filling::LittleByLittle, kPieceAlignment)) Piece;
    made.stride = static_cast<std::uint32_t>(stride);
    made.untouched = static_cast<std::uint32_t>(sizeof(Piece));
    Link(made);
    return made;
}

void* TakeInCall(std::size_t size) {
    Piece* const first = FirstFor(size);
    Piece& piece = first && first->HasRoom() ? *first : NextPiece(StrideFor(size));
    ++piece.used;
    if (FreeBlock* const block = piece.free) {
        piece.free = block->next;
        return block;
    }
    std::byte* const block = piece.At(piece.untouched);
    const std::size_t stride = piece.stride;
    // This memory is written for the first time soon. If it were not in the cache by then, the processor's next atomic
    // operation would wait until all of it is. Most blocks are in two lines of the cache.
    constexpr std::size_t kAhead = 3;  // blocks
    constexpr std::size_t kMostly = 2 * kCacheLine;
    Prefetch(block + kAhead * stride, kMostly);
    if (stride > kMostly) Prefetch(block + kAhead * stride + kMostly, stride - kMostly);
    piece.untouched += piece.stride;
    return block;
}

[[gnu::noinline]] void LetGo(Piece& piece) noexcept {
    Unlink(piece);
    if (!firstPieces.Give(&piece)) GiveLong(&piece, kPieceSize, kPieceAlignment);
}

// The last listed piece is kept for the next block.
void GiveInCall(void* block, [[maybe_unused]] std::size_t size) noexcept {
    Piece& piece = PieceOf(block);
    assert(piece.stride == StrideFor(size));
    if (!piece.isListed) Link(piece);
    // Many blocks mostly come back in the order in which they were taken. Their owners look at the beginning first.
    constexpr std::size_t kAhead = 2;
    Prefetch(static_cast<std::byte*>(block) + kAhead * piece.stride, 1);
    piece.free = new (block) FreeBlock{piece.free};
    if (--piece.used != 0 || (!piece.before && !piece.after)) return;
    LetGo(piece);
}

// A function of its own, so that the usual way, inside of calls, stays short.
[[gnu::noinline]] void* TakeOutsideOfCalls(std::size_t size) {
    const Call call;
    return TakeInCall(size);
}

[[gnu::noinline]] void GiveOutsideOfCalls(void* block, std::size_t size) noexcept {
    const Call call;
    GiveInCall(block, size);
}

constexpr std::size_t kLong = std::size_t{16} * 1024;  // an array that has all its elements at once

void* TakeLonger(std::size_t size) { return size < kLong ? ::operator new(size) : TakeLong(size, Filling::AtOnce); }

void GiveLonger(void* block, std::size_t size) noexcept {
    if (size < kLong)
        ::operator delete(block);
    else
        GiveLong(block, size);
}

}  // namespace

void* TakeBlock(std::size_t size) {
    if (size > kLargest) return TakeLonger(size);
    return CallDepth() != 0 ? TakeInCall(size) : TakeOutsideOfCalls(size);
}

void GiveBlock(void* block, std::size_t size) noexcept {
    if (!block) return;
    if (size > kLargest)
        GiveLonger(block, size);
    else if (CallDepth() != 0)
        GiveInCall(block, size);
    else
        GiveOutsideOfCalls(block, size);
}

}  // namespace lumvex::inside
