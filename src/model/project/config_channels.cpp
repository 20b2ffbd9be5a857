#include "model/project/config_channels.hpp"

#include "arrays/convert_array.hpp"
#include "model/project/SpkrEQConfig.hpp"

namespace lumvex::inside {

LONG ChannelsOfConfig(const Object& owner) {
    const Ref<Object> above = owner.ResolveParent()->ResolveParent();
    const auto* config = dynamic_cast<const CSpkrEQConfig*>(above.get());
    return config ? config->Config.Get(*config)->OutputCount() : kAnyChannels;
}

}  // namespace lumvex::inside
