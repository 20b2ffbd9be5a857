// Memory for what a document makes tens of thousands of and lets go together: objects, their entries and their arrays.
// Blocks of one size come from the same pieces of memory and go back to them: a general allocator would put free
// neighbours together again and again, which takes most of the time of closing a large document.
#pragma once

#include <cstddef>

namespace lumvex::inside {

// Throws std::bad_alloc. Inside of a published call, whose lock guards the pieces; elsewhere each block is one of its
// own, from operator new.
[[nodiscard]] void* TakeBlock(std::size_t size);
// A block may be given back anywhere, whichever call it was taken in. Null is no block.
void GiveBlock(void* block) noexcept;

}  // namespace lumvex::inside
