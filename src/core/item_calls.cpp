#include "core/item.hpp"

#include "core/call_rows.hpp"

namespace lumvex::inside {

using Calls = _CollectableCalls;
#include "interfaces/_Collectable.def"

}  // namespace lumvex::inside
