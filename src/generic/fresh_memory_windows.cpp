#include <new>

#include "generic/fresh_memory.hpp"

namespace lumvex {

void AboutToFill(void*, std::size_t) noexcept {}

void* TakeLargePart() { return ::operator new(kLargePart, std::align_val_t(kLargePart)); }

void GiveLargePart(void* part) noexcept { ::operator delete(part, std::align_val_t(kLargePart)); }

}  // namespace lumvex
