// One configuration in which a model can be driven.
#pragma once

#include "core/tree/item.hpp"
#include "model/specifications/config_reference.hpp"

namespace lumvex::inside {

class CModelConfig : public Item<CModelConfig, IModelConfig> {
public:
    ConfigReference Config;

    LXConfig ConfigID() const { return Config.Id(); }
    Ref<Object> Model() const { return ResolveParent()->ResolveParent(); }
    Ref<Object> Manufacturer() const { return Model()->ResolveParent()->ResolveParent(); }
    std::u16string ModelName() const { return Model()->Name(); }
    std::u16string ManufacturerName() const { return Manufacturer()->Name(); }

    void LoadRecord(RecordReader& reader, VersionWord version);
};

template <>
struct RecordOf<CModelConfig> : Record<Version{2, 2}> {
    static constexpr auto fields = std::tuple{&CModelConfig::Config};
};

}  // namespace lumvex::inside
