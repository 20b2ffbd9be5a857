// Memory from the system that nobody has touched yet.
#pragma once

#include <cstddef>

namespace lumvex {

// Somebody is about to fill these bytes. At the first touch of each page the system stops the program, to find a page
// and clear it; asked for all of them at once it takes half as long. Where the system cannot do that, nothing happens.
void AboutToFill(void* begin, std::size_t size) noexcept;

}  // namespace lumvex
