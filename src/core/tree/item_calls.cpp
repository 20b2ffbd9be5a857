#include "core/tree/item.hpp"

#include "core/published/call_rows.hpp"

namespace lumvex::inside {

using Calls = _CollectableCalls;
#include "interfaces/rows/_Collectable.def"

}  // namespace lumvex::inside
