// The profiles of a processor configuration.
#pragma once

#include "model/project/BoxCfgBank.hpp"

namespace lumvex::inside {

class CBoxCfgBanks : public Collection<CBoxCfgBanks, IBoxCfgBanks> {
public:
    // A new profile comes with its four output positions.
    Ref<Object> Add(std::u16string_view name) {
        Ref<Object> profile = AddNamed(name);
        static_cast<CBoxCfgBank&>(*profile).AddPositions();
        return profile;
    }
};

}  // namespace lumvex::inside
