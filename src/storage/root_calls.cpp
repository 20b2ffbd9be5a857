#include "storage/root_document.hpp"

#include "core/call_rows.hpp"

namespace lumvex::inside {

using Calls = _RootCalls;
#include "interfaces/_Root.def"

}  // namespace lumvex::inside
