#include "core/objects/block_pool.hpp"

#include <array>
#include <cstdint>
#include <new>

#include "core/objects/guard.hpp"
#include "generic/long_block.hpp"

namespace lumvex::inside {

namespace {

struct Piece;

// Right before every block: the piece that it is from; null where it is from none. Before that, such a block has its
// size.
struct BlockHead {
    Piece* piece;
};

constexpr std::size_t kAlignment = __STDCPP_DEFAULT_NEW_ALIGNMENT__;
constexpr std::size_t kLargest = 512;                            // bytes: longer blocks are from no piece
constexpr std::size_t kPieceSize = std::size_t{64} * 1024 - 64;  // with what operator new needs less than 64 KiB

constexpr std::size_t RoundedUp(std::size_t size) { return (size + kAlignment - 1) / kAlignment * kAlignment; }
constexpr std::size_t StrideFor(std::size_t size) { return RoundedUp(size + sizeof(BlockHead)); }

struct FreeBlock {
    FreeBlock* next;
};

struct alignas(kAlignment) Piece {
    Piece* before = nullptr;  // among the pieces of this size that have room
    Piece* after = nullptr;
    FreeBlock* free = nullptr;    // blocks that came back
    std::uint32_t used = 0;       // blocks that are out
    std::uint32_t stride = 0;     // from one block to the next, in bytes
    std::uint32_t untouched = 0;  // where the part begins that has not been given out yet

    std::byte* At(std::size_t offset) { return reinterpret_cast<std::byte*>(this) + offset; }
    bool HasRoom() const { return free || untouched + stride <= kPieceSize; }
};
constexpr std::size_t kFirstBlock = RoundedUp(sizeof(Piece) + sizeof(BlockHead));

// The pieces that have room, by stride; the first one is used. Guarded by the module lock.
constinit std::array<Piece*, StrideFor(kLargest) / kAlignment + 1> piecesWithRoom{};
constinit std::size_t pieces = 0;  // of all strides, with room or without

Piece*& FirstOf(std::size_t stride) { return piecesWithRoom[stride / kAlignment]; }

BlockHead& HeadOf(void* block) { return static_cast<BlockHead*>(block)[-1]; }

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

Piece& PieceWithRoom(std::size_t stride) {
    if (Piece* first = FirstOf(stride)) return *first;
    constexpr std::size_t kFew = 16;  // where there are more, a piece is going to be filled
    Piece& made = *new (TakeLong(kPieceSize, pieces < kFew ? Filling::LittleByLittle : Filling::AtOnce)) Piece;
    ++pieces;
    made.stride = static_cast<std::uint32_t>(stride);
    made.untouched = static_cast<std::uint32_t>(kFirstBlock);
    Link(made);
    return made;
}

void* TakeFrom(Piece& piece) noexcept {
    void* block = nullptr;
    if (piece.free) {
        block = piece.free;
        piece.free = piece.free->next;
    } else {
        block = piece.At(piece.untouched);
        piece.untouched += piece.stride;
        HeadOf(block).piece = &piece;
    }
    ++piece.used;
    if (!piece.HasRoom()) Unlink(piece);
    return block;
}

// The last piece with room is kept for the next block.
void GiveTo(Piece& piece, void* block) noexcept {
    if (!piece.HasRoom()) Link(piece);
    piece.free = new (block) FreeBlock{piece.free};
    if (--piece.used != 0 || (!piece.before && !piece.after)) return;
    Unlink(piece);
    GiveLong(&piece, kPieceSize);
    --pieces;
}

// The memory of a block that is from no piece has kAlignment bytes more: its whole size, then the head, then the block.
constexpr std::size_t kLong = std::size_t{16} * 1024;  // an array that has all its elements at once
static_assert(sizeof(std::size_t) + sizeof(BlockHead) <= kAlignment);

void GiveBase(std::byte* base) noexcept {
    const std::size_t whole = *reinterpret_cast<const std::size_t*>(base);
    if (whole < kLong)
        ::operator delete(base);
    else
        GiveLong(base, whole);
}

}  // namespace

void* TakeBlock(std::size_t size) {
    if (size <= kLargest && CallDepth() != 0) return TakeFrom(PieceWithRoom(StrideFor(size)));
    const std::size_t whole = kAlignment + size;
    void* const base = whole < kLong ? ::operator new(whole) : TakeLong(whole, Filling::AtOnce);
    std::byte* const block = static_cast<std::byte*>(base) + kAlignment;
    new (base) std::size_t(whole);
    HeadOf(block).piece = nullptr;
    return block;
}

void GiveBlock(void* block) noexcept {
    if (!block) return;
    Piece* const piece = HeadOf(block).piece;
    if (!piece) return GiveBase(static_cast<std::byte*>(block) - kAlignment);
    if (CallDepth() != 0) return GiveTo(*piece, block);
    const Call call;
    GiveTo(*piece, block);
}

}  // namespace lumvex::inside
