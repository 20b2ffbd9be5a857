#include "generic/fresh_memory.hpp"

namespace lumvex {

void AboutToFill(void*, std::size_t) noexcept {}

}  // namespace lumvex
