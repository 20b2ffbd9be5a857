#include "model/specifications/ModelConfigs.hpp"

namespace lumvex::inside {

Ref<Object> CModelConfigs::Add(IConfig* config) {
    Bstr name;
    Check(config->get_Name(name.Out()));
    LXConfig id{};
    Check(config->get_ConfigID(&id));
    if (id < LX_SINGLEAMP || id > LX_MAXFCFGS) throw Failure(E_INVALIDARG);
    ResolveRoot();
    if (Ref<Object> found = FindName(name.view())) return found;
    Ref<Object> added = AddNamed(name.view());
    static_cast<CModelConfig&>(*added).Config.Point(id);
    return added;
}

}  // namespace lumvex::inside
