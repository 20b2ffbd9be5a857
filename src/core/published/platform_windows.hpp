// For the module that carries the type library.
#pragma once

#include "core/published/platform.hpp"

namespace lumvex::inside {

// Releases the type library until it is asked for again. While it is open, the system may count the module's own file
// as loaded, so that the module would never be unloaded.
void ReleaseTypeLibrary() noexcept;

}  // namespace lumvex::inside
