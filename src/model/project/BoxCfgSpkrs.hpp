// The output positions of a profile.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/BoxCfgSpkr.hpp"

namespace lumvex::inside {

class CBoxCfgSpkrs : public NamedCollection<CBoxCfgSpkrs, IBoxCfgSpkrs> {};

}  // namespace lumvex::inside
