#include "model/project/SpkrEQConfig.hpp"

#include "model/specifications/ModelConfig.hpp"

namespace lumvex::inside {

LXConfig CSpkrEQConfig::ConfigIdOf(const Object& modelConfig) {
    return static_cast<const CModelConfig&>(modelConfig).ConfigID();
}

void CSpkrEQConfig::ModelConfig(IModelConfig* given) {
    if (!given) throw Failure(E_POINTER);
    const Ref<Object> target = ModelConfigReference::Checked(given);
    const LXConfig id = ConfigIdOf(*target);
    ModelConfigReference reference;
    reference.Point(target);
    StoreAndTell(*this, LX_EV_DEFAULT, [&] { Point(std::move(reference), id); });
}

void CSpkrEQConfig::Point(ModelConfigReference modelConfig, LXConfig id) {
    modelConfig_ = std::move(modelConfig);
    Config.Point(id);
}

}  // namespace lumvex::inside
