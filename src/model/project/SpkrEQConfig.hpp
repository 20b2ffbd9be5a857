// One configuration of a speaker: the measurements taken in it and the corrections designed from them.
#pragma once

#include "core/tree/item.hpp"
#include "model/project/Corrections.hpp"
#include "model/project/Measurements.hpp"
#include "model/project/library_reference.hpp"
#include "model/specifications/config_reference.hpp"

namespace lumvex::inside {

class CModelConfig;

class CSpkrEQConfig : public Item<CSpkrEQConfig, ISpkrEQConfig> {
public:
    using ModelConfigReference = LibraryReference<CModelConfig, 3>;

    Child<CCorrections> Corrections;
    Child<CMeasurements> Measurements;
    ModelConfigReference modelConfig;
    ConfigReference Config;  // of the model configuration; known without the library

    Ref<Object> ModelConfig() const { return modelConfig.Get(*this); }
    void ModelConfig(IModelConfig* given);  // E_POINTER for none: the configuration follows it
    LXConfig ConfigID() const { return Config.Id(); }

    static LXConfig ConfigIdOf(const Object& modelConfig);
};

template <>
struct RecordOf<CSpkrEQConfig> : Record<Version{1}> {
    static constexpr auto fields = std::tuple{&CSpkrEQConfig::Corrections, &CSpkrEQConfig::Measurements,
                                              &CSpkrEQConfig::modelConfig, &CSpkrEQConfig::Config};
};

}  // namespace lumvex::inside
