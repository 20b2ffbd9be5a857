// The configurations in which a speaker is measured and corrected.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/SpkrEQConfig.hpp"

namespace lumvex::inside {

class CSpkrEQConfigs final : public Collection<CSpkrEQConfigs, ISpkrEQConfigs> {
public:
    Ref<Object> Add(IModelConfig* modelConfig);  // named after it

    Ref<Object> FindCounterpart(ItemBase& other) override;  // the one with the same LXConfig
};

}  // namespace lumvex::inside
