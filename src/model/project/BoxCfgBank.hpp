// One profile of a processor configuration: the amplification mode, and an output position for each of left, left
// subwoofer, right subwoofer and right.
#pragma once

#include "model/project/BoxCfgSpkrs.hpp"

namespace lumvex::inside {

class CBoxCfgBank final : public Item<CBoxCfgBank, IBoxCfgBank> {
public:
    Child<CBoxCfgSpkrs> Spkrs;
    Array Data, Data2;       // of any number of columns
    Scalar<LONG> DataValid;  // 1: the client says that the data fit the settings; a change of the mode sets 0
    Array EqualiserData;     // any shape
    Scalar<float> FWTarget;
    Scalar<LONG> SampleRate{48000};  // samples per second, any value

    // The amplification mode. A put of another mode sets DataValid to 0 and gives each position the speaker
    // configuration that it has in this mode. A put of a value outside 0..4 fails with E_INVALIDARG.
    LXBoxMode Config() const { return config_.value; }
    void Config(LXBoxMode mode);

    // Gives a new profile its four positions, with the speaker configurations of its mode.
    void AddPositions();

private:
    using Positions = std::vector<std::pair<Ref<Object>, LXConfig>>;
    Positions PositionsThatFollow(LXBoxMode mode);

    Scalar<LXBoxMode> config_{LX_BM_TRIAMP};
    friend struct RecordOf<CBoxCfgBank>;
};

template <>
struct RecordOf<CBoxCfgBank> : Record<CBoxCfgBank> {
    static constexpr auto fields = std::tuple{
        &CBoxCfgBank::Spkrs,     &CBoxCfgBank::config_,       &CBoxCfgBank::Data,     &CBoxCfgBank::Data2,
        &CBoxCfgBank::DataValid, &CBoxCfgBank::EqualiserData, &CBoxCfgBank::FWTarget, &CBoxCfgBank::SampleRate};
};

}  // namespace lumvex::inside
