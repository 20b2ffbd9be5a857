#include "model/project/SpkrEQConfigs.hpp"

namespace lumvex::inside {

// The library is asked first, because that may fail: then no configuration was added.
Ref<Object> CSpkrEQConfigs::Add(IModelConfig* modelConfig) {
    const Ref<Object> given = CSpkrEQConfig::ModelConfigReference::Checked(modelConfig);
    CSpkrEQConfig::ModelConfigReference reference;
    reference.Point(given);
    const LXConfig id = CSpkrEQConfig::ConfigIdOf(*given);
    Ref<Object> added = AddNamed(given->Name());
    static_cast<CSpkrEQConfig&>(*added).Point(std::move(reference), id);
    return added;
}

Ref<Object> CSpkrEQConfigs::FindCounterpart(ItemBase& other) {
    const LXConfig wanted = static_cast<const CSpkrEQConfig&>(other).Config.Id();
    return FindFirst(
        [&](const Object& member) { return static_cast<const CSpkrEQConfig&>(member).Config.Id() == wanted; });
}

}  // namespace lumvex::inside
