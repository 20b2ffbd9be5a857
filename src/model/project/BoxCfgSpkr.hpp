// One output position of a processor profile: the speaker and correction that it plays, and its filter stages.
#pragma once

#include "arrays/array_field.hpp"
#include "core/tree/item.hpp"

namespace lumvex::inside {

class CSpeakerEQ;
class CCorrection;

class CBoxCfgSpkr final : public Item<CBoxCfgSpkr, IBoxCfgSpkr> {
    template <class Kind>
    using PerStage = Indexed<Kind, 6>;

public:
    ItemReference<CSpeakerEQ> Speaker;
    ItemReference<CCorrection> Correction;
    Scalar<float> DelayMs;
    Scalar<LXFilterMode> Mode{LX_FM_DISABLE};
    PerStage<Scalar<LXSimpleFilterMode>> FilterMode;
    PerStage<Compared<float>> FilterFrequencyHi, FilterSlopeHi, FilterFrequencyLo, FilterSlopeLo;
    Scalar<LXConfig> ConfigID{LX_SINGLEAMP};
    PerStage<Scalar<LONG>> FilterEnable;
    PerStage<Scalar<LXTweak>> FilterTweak;
    PerStage<Scalar<LONG>> FilterInvert;
    PerStage<Scalar<LXXover>> FilterMethodHi, FilterMethodLo;
    Text CorrectionName, SpeakerName;
    Compared<float> LastCalcedDelay;
    PerStage<Scalar<float>> FilterQHi, FilterQLo;
    Scalar<float> GaindB;
    Array Data, Data2;  // any number of channels
};

template <>
struct RecordOf<CBoxCfgSpkr> : Record<CBoxCfgSpkr> {
    static constexpr auto fields = std::tuple{&CBoxCfgSpkr::Speaker,        &CBoxCfgSpkr::Correction,
                                              &CBoxCfgSpkr::DelayMs,        &CBoxCfgSpkr::Mode,
                                              &CBoxCfgSpkr::FilterMode,     &CBoxCfgSpkr::FilterFrequencyHi,
                                              &CBoxCfgSpkr::FilterSlopeHi,  &CBoxCfgSpkr::FilterFrequencyLo,
                                              &CBoxCfgSpkr::FilterSlopeLo,  &CBoxCfgSpkr::ConfigID,
                                              &CBoxCfgSpkr::FilterEnable,   &CBoxCfgSpkr::FilterTweak,
                                              &CBoxCfgSpkr::FilterInvert,   &CBoxCfgSpkr::FilterMethodHi,
                                              &CBoxCfgSpkr::FilterMethodLo, &CBoxCfgSpkr::CorrectionName,
                                              &CBoxCfgSpkr::SpeakerName,    &CBoxCfgSpkr::LastCalcedDelay,
                                              &CBoxCfgSpkr::FilterQHi,      &CBoxCfgSpkr::FilterQLo,
                                              &CBoxCfgSpkr::GaindB,         &CBoxCfgSpkr::Data,
                                              &CBoxCfgSpkr::Data2};
};

}  // namespace lumvex::inside
