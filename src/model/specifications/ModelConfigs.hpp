// The configurations of a model, each once.
#pragma once

#include "core/tree/collection.hpp"
#include "model/specifications/ModelConfig.hpp"

namespace lumvex::inside {

class CModelConfigs : public Collection<CModelConfigs, IModelConfigs> {
public:
    // A configuration whose name is there already is answered as it is. E_INVALIDARG for one that no table has.
    Ref<Object> Add(IConfig* config);
};

}  // namespace lumvex::inside
