#include "automation/random.hpp"

namespace lumvex::inside {

std::optional<GUID> GuessNextGuid() noexcept { return std::nullopt; }

}  // namespace lumvex::inside
