// One configuration in which a model can be driven.
#pragma once

#include "core/tree/item.hpp"
#include "model/specifications/config_reference.hpp"

namespace lumvex::inside {

class CModelConfig final : public Item<CModelConfig, IModelConfig> {
public:
    ConfigReference Config;

    LXConfig ConfigID() const { return Config.Id(); }
    Ref<Object> Model() const { return ResolveParent()->ResolveParent(); }
    Ref<Object> Manufacturer() const { return Model()->ResolveParent()->ResolveParent(); }
    std::u16string ModelName() const { return Model()->Name(); }
    std::u16string ManufacturerName() const { return Manufacturer()->Name(); }

    // Records of version 0 meant the first configuration.
    void Upgrade(VersionWord from) {
        if (from.Writer() == 0) Config.Point(LX_SINGLEAMP);
    }

private:
    FormerReference formerReference_;
    friend struct RecordOf<CModelConfig>;
};

template <>
struct RecordOf<CModelConfig> : Record<CModelConfig> {
    static constexpr auto fields =
        std::tuple{Until<2>(Private("An older way of referring to the configuration; it is read past.",
                                    &CModelConfig::formerReference_)),
                   Since<1>(&CModelConfig::Config)};
};

}  // namespace lumvex::inside
