#include "model/specifications/Config.hpp"

#include "core/base/strings.hpp"
#include "published/IConfig.hpp"

namespace lumvex::inside {

namespace {
constexpr int kFirstName = 4269;
}

Ref<CConfig> CConfig::Make(LXConfig id, LONG outputCount) {
    Ref<CConfig> config(new Published<CConfig, IConfig>);
    config->id_ = id;
    config->outputCount_ = outputCount;
    return config;
}

std::u16string_view CConfig::Name() const {
    if (name_.empty()) name_ = StringOf(kFirstName + id_ - LX_SINGLEAMP);
    return name_;
}

}  // namespace lumvex::inside
