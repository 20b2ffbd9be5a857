#include "core/objects/block_pool.hpp"

#include <algorithm>
#include <array>
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
    return (std::max<std::size_t>(size, 1) + step - 1) / step * step;
}

struct FreeBlock {
    FreeBlock* next;
};
static_assert(sizeof(FreeBlock) <= StrideFor(1));

// At the beginning of its memory; its blocks follow.
struct alignas(kBlockAlignment) Piece {
    Piece* before = nullptr;  // among the pieces of this size that have room
    Piece* after = nullptr;
    FreeBlock* free = nullptr;    // blocks that came back
    std::uint32_t used = 0;       // blocks that are out
    std::uint32_t stride = 0;     // from one block to the next, in bytes
    std::uint32_t untouched = 0;  // where the part begins that has not been given out yet

    std::byte* At(std::size_t offset) { return reinterpret_cast<std::byte*>(this) + offset; }
    bool HasRoom() const { return free || untouched + stride <= kPieceSize; }
};

// The pieces that have room, by stride; the first one is used. Guarded by the module lock.
constinit std::array<Piece*, StrideFor(kLargest) / kBlockAlignment + 1> piecesWithRoom{};

Piece*& FirstOf(std::size_t stride) { return piecesWithRoom[stride / kBlockAlignment]; }

Piece& PieceOf(void* block) {
    return *reinterpret_cast<Piece*>(reinterpret_cast<std::uintptr_t>(block) & ~(kPieceAlignment - 1));
}

void Link(Piece& piece) noexcept {
    Piece*& first = FirstOf(piece.stride);
    piece.before = nullptr;
    piece.after = first;
    if (first) first->before = &piece;
    first = &piece;
}

void Unlink(Piece& piece) noexcept {
    (piece.before ? piece.before->after : FirstOf(piece.stride)) = piece.after;
    if (piece.after) piece.after->before = piece.before;
}

[[gnu::noinline]] Piece& MakePiece(std::size_t stride) {
    Piece& made = *new (TakeLong(kPieceSize, Filling::LittleByLittle, kPieceAlignment)) Piece;
    made.stride = static_cast<std::uint32_t>(stride);
    made.untouched = static_cast<std::uint32_t>(sizeof(Piece));
    Link(made);
    return made;
}

void* TakeInCall(std::size_t stride) {
    Piece* const first = FirstOf(stride);
    Piece& piece = first ? *first : MakePiece(stride);
    void* block = piece.free;
    if (block) {
        piece.free = piece.free->next;
    } else {
        block = piece.At(piece.untouched);
        // This memory is written for the first time soon. If it were not in the cache by then, the processor's next
        // atomic operation would wait until all of it is.
        constexpr std::size_t kAhead = 3;  // blocks
        Prefetch(static_cast<std::byte*>(block) + kAhead * stride, stride);
        piece.untouched += piece.stride;
    }
    ++piece.used;
    if (!piece.HasRoom()) Unlink(piece);
    return block;
}

[[gnu::noinline]] void LetGo(Piece& piece) noexcept {
    Unlink(piece);
    GiveLong(&piece, kPieceSize, kPieceAlignment);
}

// The last piece with room is kept for the next block.
void GiveInCall(void* block, std::size_t stride) noexcept {
    Piece& piece = PieceOf(block);
    assert(piece.stride == stride);
    if (!piece.HasRoom()) Link(piece);
    // Many blocks mostly come back in the order in which they were taken. Their owners look at the beginning first.
    constexpr std::size_t kAhead = 2;
    Prefetch(static_cast<std::byte*>(block) + kAhead * stride, 1);
    piece.free = new (block) FreeBlock{piece.free};
    if (--piece.used != 0 || (!piece.before && !piece.after)) return;
    LetGo(piece);
}

// A function of its own, so that the usual way, inside of calls, stays short.
[[gnu::noinline]] void* TakeOutsideOfCalls(std::size_t stride) {
    const Call call;
    return TakeInCall(stride);
}

[[gnu::noinline]] void GiveOutsideOfCalls(void* block, std::size_t stride) noexcept {
    const Call call;
    GiveInCall(block, stride);
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
    const std::size_t stride = StrideFor(size);
    return CallDepth() != 0 ? TakeInCall(stride) : TakeOutsideOfCalls(stride);
}

void GiveBlock(void* block, std::size_t size) noexcept {
    if (!block) return;
    if (size > kLargest)
        GiveLonger(block, size);
    else if (CallDepth() != 0)
        GiveInCall(block, StrideFor(size));
    else
        GiveOutsideOfCalls(block, StrideFor(size));
}

}  // namespace lumvex::inside
