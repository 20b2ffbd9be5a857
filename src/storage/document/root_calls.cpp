#include "storage/document/root_document.hpp"

#include "core/published/call_rows.hpp"

namespace lumvex::inside {

using Calls = _RootCalls;
#include "interfaces/rows/_Root.def"

}  // namespace lumvex::inside
