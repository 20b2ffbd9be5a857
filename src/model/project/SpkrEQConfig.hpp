// One configuration of a speaker: the measurements taken in it and the corrections designed from them.
#pragma once

#include "core/tree/item.hpp"
#include "model/project/Corrections.hpp"
#include "model/project/Measurements.hpp"
#include "model/project/library_reference.hpp"
#include "model/specifications/config_reference.hpp"

namespace lumvex::inside {

class CModelConfig;

class CSpkrEQConfig final : public Item<CSpkrEQConfig, ISpkrEQConfig> {
public:
    using ModelConfigReference = LibraryReference<CModelConfig, 3>;

    Child<CCorrections> Corrections;
    Child<CMeasurements> Measurements;
    ConfigReference Config;  // that of the model configuration, kept so that it is known without the library

    Ref<Object> ModelConfig() const { return modelConfig_.Get(*this); }
    // Config follows the model configuration, so that none is refused with E_POINTER.
    void ModelConfig(IModelConfig* given);
    LXConfig ConfigID() const { return Config.Id(); }

    static LXConfig ConfigIdOf(const Object& modelConfig);
    // Refers to a model configuration whose speaker configuration is `id`; raises no event.
    void Point(ModelConfigReference modelConfig, LXConfig id);

private:
    ModelConfigReference modelConfig_;
    friend struct RecordOf<CSpkrEQConfig>;
};

template <>
struct RecordOf<CSpkrEQConfig> : Record<CSpkrEQConfig> {
    static constexpr auto fields = std::tuple{&CSpkrEQConfig::Corrections, &CSpkrEQConfig::Measurements,
                                              &CSpkrEQConfig::modelConfig_, &CSpkrEQConfig::Config};
};

}  // namespace lumvex::inside
