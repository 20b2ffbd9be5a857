// The correction groups of a template.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/SpkrCorrectionGroup.hpp"

namespace lumvex::inside {

class CSpkrCorrectionGroups : public NamedCollection<CSpkrCorrectionGroups, ISpkrCorrectionGroups> {};

}  // namespace lumvex::inside
