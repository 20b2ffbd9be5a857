#include "lumvex/host.hpp"

#include "storage/compound/file/guard.hpp"

namespace lumvex {

void GuardReads(bool guard) noexcept { compound::AllowGuard(guard); }

}  // namespace lumvex
