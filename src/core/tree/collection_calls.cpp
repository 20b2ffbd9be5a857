#include "core/tree/collection.hpp"

#include "core/published/call_rows.hpp"

namespace lumvex::inside {

using Calls = _CollectionCalls;
#include "interfaces/rows/_Collection.def"

}  // namespace lumvex::inside
