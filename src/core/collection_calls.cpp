#include "core/collection.hpp"

#include "core/call_rows.hpp"

namespace lumvex::inside {

using Calls = _CollectionCalls;
#include "interfaces/_Collection.def"

}  // namespace lumvex::inside
