// The correction groups of a template.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/SpkrCorrectionGroup.hpp"

namespace lumvex::inside {

class CSpkrCorrectionGroups final : public Collection<CSpkrCorrectionGroups, ISpkrCorrectionGroups> {
public:
    Ref<Object> Add(std::u16string_view name) { return AddNamed(name); }
};

}  // namespace lumvex::inside
