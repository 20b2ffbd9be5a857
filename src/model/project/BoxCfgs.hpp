// The processor configurations of a project.
#pragma once

#include "model/project/BoxCfg.hpp"

namespace lumvex::inside {

class CBoxCfgs : public Collection<CBoxCfgs, IBoxCfgs> {
public:
    // A new configuration comes with four profiles.
    Ref<Object> Add(std::u16string_view name) {
        Ref<Object> configuration = AddNamed(name);
        static_cast<CBoxCfg&>(*configuration).AddProfiles();
        return configuration;
    }
};

}  // namespace lumvex::inside
