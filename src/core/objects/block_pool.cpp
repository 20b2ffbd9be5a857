#include "core/objects/block_pool.hpp"

#include <array>
#include <bit>
#include <cstdint>
#include <memory>
#include <new>

#include "core/objects/guard.hpp"
#include "generic/fresh_memory.hpp"

namespace lumvex::inside {

namespace {

struct Piece;
struct Part;

// Right before every block: the piece that it is from; null where it is from none.
struct BlockHead {
    Piece* piece;
};

constexpr std::size_t kAlignment = __STDCPP_DEFAULT_NEW_ALIGNMENT__;
constexpr std::size_t kLargest = 512;  // bytes: longer blocks are from no piece
constexpr std::size_t kPieceSize =
    std::size_t{64} * 1024 - 64;  // with what operator new needs a little less than 64 KiB

constexpr std::size_t RoundedUp(std::size_t size) { return (size + kAlignment - 1) / kAlignment * kAlignment; }
constexpr std::size_t StrideFor(std::size_t size) { return RoundedUp(size + sizeof(BlockHead)); }

struct FreeBlock {
    FreeBlock* next;
};

struct alignas(kAlignment) Piece {
    Piece* before = nullptr;  // among the pieces of this size that have room
    Piece* after = nullptr;
    Part* part = nullptr;         // that the piece is in; null: it is a block of operator new
    FreeBlock* free = nullptr;    // blocks that came back
    std::uint32_t used = 0;       // blocks that are out
    std::uint32_t stride = 0;     // from one block to the next, in bytes
    std::uint32_t untouched = 0;  // where the part begins that has not been given out yet

    std::byte* At(std::size_t offset) { return reinterpret_cast<std::byte*>(this) + offset; }
    bool HasRoom() const { return free || untouched + stride <= kPieceSize; }
};
constexpr std::size_t kFirstBlock = RoundedUp(sizeof(Piece) + sizeof(BlockHead));

// A large part of memory, cut into pieces.
struct Part {
    Part* before = nullptr;  // among the parts that have room
    Part* after = nullptr;
    std::uint32_t free = 0xFFFFFFFF;  // a bit for each piece
    std::byte* memory = nullptr;
};
constexpr std::size_t kPieces = 32, kPieceInPart = kLargePart / kPieces;
static_assert(kPieceSize <= kPieceInPart && kPieceInPart % kAlignment == 0);
constexpr std::uint32_t kAllFree = Part{}.free;

// The pieces that have room, by stride, and the parts that have; the first one is used. Guarded by the module lock.
constinit std::array<Piece*, StrideFor(kLargest) / kAlignment + 1> piecesWithRoom{};
constinit Part* partsWithRoom = nullptr;
constinit std::size_t pieces = 0;  // of all strides, with room or without

Piece*& FirstOf(std::size_t stride) { return piecesWithRoom[stride / kAlignment]; }

BlockHead& HeadOf(void* block) { return static_cast<BlockHead*>(block)[-1]; }

template <class Linked>
void Link(Linked& linked, Linked*& first) noexcept {
    linked.before = nullptr;
    linked.after = first;
    if (first) first->before = &linked;
    first = &linked;
}

template <class Linked>
void Unlink(Linked& linked, Linked*& first) noexcept {
    (linked.before ? linked.before->after : first) = linked.after;
    if (linked.after) linked.after->before = linked.before;
}

Part& PartWithRoom() {
    if (partsWithRoom) return *partsWithRoom;
    auto made = std::make_unique<Part>();
    made->memory = static_cast<std::byte*>(TakeLargePart());
    Link(*made, partsWithRoom);
    return *made.release();
}

Piece& MakePieceIn(Part& part) noexcept {
    const auto place = static_cast<unsigned>(std::countr_zero(part.free));
    part.free &= ~(1u << place);
    if (part.free == 0) Unlink(part, partsWithRoom);
    Piece& made = *new (part.memory + place * kPieceInPart) Piece;
    made.part = &part;
    return made;
}

void GivePiece(Piece& piece) noexcept {
    --pieces;
    Part* const part = piece.part;
    if (!part) return ::operator delete(&piece);
    if (part->free == 0) Link(*part, partsWithRoom);
    part->free |= 1u << static_cast<std::size_t>(reinterpret_cast<std::byte*>(&piece) - part->memory) / kPieceInPart;
    if (part->free != kAllFree) return;
    Unlink(*part, partsWithRoom);
    GiveLargePart(part->memory);
    delete part;
}

Piece& PieceWithRoom(std::size_t stride) {
    if (Piece* first = FirstOf(stride)) return *first;
    constexpr std::size_t kFew = kPieces;  // where there are more, a large part is going to be filled
    Piece& made = pieces < kFew ? *new (::operator new(kPieceSize)) Piece : MakePieceIn(PartWithRoom());
    ++pieces;
    made.stride = static_cast<std::uint32_t>(stride);
    made.untouched = static_cast<std::uint32_t>(kFirstBlock);
    Link(made, FirstOf(stride));
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
    if (!piece.HasRoom()) Unlink(piece, FirstOf(piece.stride));
    return block;
}

// The last piece with room is kept for the next block.
void GiveTo(Piece& piece, void* block) noexcept {
    if (!piece.HasRoom()) Link(piece, FirstOf(piece.stride));
    piece.free = new (block) FreeBlock{piece.free};
    if (--piece.used != 0 || (!piece.before && !piece.after)) return;
    Unlink(piece, FirstOf(piece.stride));
    GivePiece(piece);
}

}  // namespace

void* TakeBlock(std::size_t size) {
    if (size <= kLargest && CallDepth() != 0) return TakeFrom(PieceWithRoom(StrideFor(size)));
    constexpr std::size_t kLong = std::size_t{16} * 1024;  // the array that this is for has all its elements at once
    std::byte* const block = static_cast<std::byte*>(::operator new(kAlignment + size)) + kAlignment;
    if (size >= kLong) AboutToFill(block, size);
    HeadOf(block).piece = nullptr;
    return block;
}

void GiveBlock(void* block) noexcept {
    if (!block) return;
    Piece* const piece = HeadOf(block).piece;
    if (!piece) return ::operator delete(static_cast<std::byte*>(block) - kAlignment);
    if (CallDepth() != 0) return GiveTo(*piece, block);
    const Call call;
    GiveTo(*piece, block);
}

}  // namespace lumvex::inside
