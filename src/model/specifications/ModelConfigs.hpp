// The configurations of a model, each once.
#pragma once

#include "core/tree/collection.hpp"
#include "model/specifications/ModelConfig.hpp"

namespace lumvex::inside {

class CModelConfigs final : public Collection<CModelConfigs, IModelConfigs> {
public:
    // Answers the member of the configuration's name, and adds one where there is none. Fails with E_INVALIDARG for a
    // configuration of a client's own whose number is not one of LXConfig.
    Ref<Object> Add(IConfig* config);
};

}  // namespace lumvex::inside
