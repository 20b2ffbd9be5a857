// One configuration of the hardware processor: global settings, output trims for six channels of each of sixteen banks,
// filter selections by bank, and the profiles.
#pragma once

#include "model/project/BoxCfgBanks.hpp"

namespace lumvex::inside {

class CBoxCfg final : public Item<CBoxCfg, IBoxCfg> {
    static constexpr std::size_t kBanks = 16, kChannels = 6;
    template <class T>
    using PerChannel = Indexed<Compared<T>, kBanks, kChannels>;
    using PerBank = Indexed<Compared<SHORT>, kBanks>;

public:
    Child<CBoxCfgBanks> Banks;
    Compared<SHORT> XdA_UserParametric;
    Text XdA_CustomText;
    PerChannel<LONG> XdA_Mute, XdA_Invert;
    PerChannel<float> XdA_LevelTweak;
    PerBank XdA_FIR{{0, 2, 2, 2, 1, 3, 3, 3, 1, 3, 3, 3, 1, 3, 3, 3}};
    PerBank XdA_IIRLeft{{0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3}};
    PerBank XdA_IIRRight{{0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3}};
    Compared<LONG> XdA_LockEQ;

    // The interface passes whole numbers, the record keeps floats: large numbers lose their last digits.
    LONG XdA_DelayTweak(SHORT bank, SHORT channel) const;
    void XdA_DelayTweak(SHORT bank, SHORT channel, LONG delay);

    // A profile by its number, counted from 0. E_INVALIDARG for a number that no profile has.
    Ref<Object> Bank(int number);

    // Gives a new configuration its four profiles: the bypass and three for the user.
    void AddProfiles();

private:
    PerChannel<float> delayTweak_;
    friend struct RecordOf<CBoxCfg>;
};

template <>
struct RecordOf<CBoxCfg> : Record<CBoxCfg> {
    static constexpr auto fields = std::tuple{&CBoxCfg::Banks,
                                              &CBoxCfg::XdA_UserParametric,
                                              &CBoxCfg::XdA_CustomText,
                                              &CBoxCfg::XdA_Mute,
                                              &CBoxCfg::XdA_Invert,
                                              &CBoxCfg::XdA_LevelTweak,
                                              Keeps("XdA_DelayTweak", &CBoxCfg::delayTweak_),
                                              &CBoxCfg::XdA_FIR,
                                              &CBoxCfg::XdA_IIRLeft,
                                              &CBoxCfg::XdA_IIRRight,
                                              &CBoxCfg::XdA_LockEQ};
};

}  // namespace lumvex::inside
