#include "model/project/BoxCfg.hpp"

#include "model/project/whole_as_float.hpp"

namespace lumvex::inside {

LONG CBoxCfg::XdA_DelayTweak(SHORT bank, SHORT channel) const {
    return Truncated(delayTweak_.Get(bank, channel, *this));
}

void CBoxCfg::XdA_DelayTweak(SHORT bank, SHORT channel, LONG delay) {
    delayTweak_.Put(bank, channel, static_cast<float>(delay), *this);
}

Ref<Object> CBoxCfg::Bank(int number) {
    if (number == std::numeric_limits<int>::max()) throw Failure(E_INVALIDARG);
    const Ref<Object> profiles = Banks.Get(*this);
    return static_cast<CBoxCfgBanks&>(*profiles).Item(number + 1);
}

void CBoxCfg::AddProfiles() {
    const Ref<Object> profiles = Banks.Get(*this);
    for (const std::u16string_view name : {u"Bypass", u"Profile 1", u"Profile 2", u"Profile 3"})
        static_cast<CBoxCfgBanks&>(*profiles).Add(name);
}

}  // namespace lumvex::inside
