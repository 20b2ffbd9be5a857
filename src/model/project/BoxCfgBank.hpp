// One profile of a processor configuration: the amplification mode, and an output position for each of left, left
// subwoofer, right subwoofer and right.
#pragma once

#include "model/project/BoxCfgSpkrs.hpp"

namespace lumvex::inside {

class CBoxCfgBank : public Item<CBoxCfgBank, IBoxCfgBank> {
public:
    Child<CBoxCfgSpkrs> Spkrs;
    Array Data, Data2;       // any number of channels
    Scalar<LONG> DataValid;  // the client's mark on the data; a change of the mode clears it
    Array EqualiserData;     // any shape
    Scalar<float> FWTarget;
    Scalar<LONG> SampleRate{48000};  // samples per second, any value

    // The mode. A new one clears DataValid and gives the positions that are there the speaker configuration that they
    // have in this mode; outside 0..4 it is refused with E_INVALIDARG.
    LXBoxMode Config() const { return config_.value; }
    void Config(LXBoxMode mode);

    // Fills a new profile: four positions, set up for its mode.
    void AddPositions();

private:
    using Positions = std::vector<std::pair<Ref<Object>, LXConfig>>;
    Positions PositionsThatFollow(LXBoxMode mode);

    Scalar<LXBoxMode> config_{LX_BM_TRIAMP};
    friend struct RecordOf<CBoxCfgBank>;
};

template <>
struct RecordOf<CBoxCfgBank> : Record<Version{1}> {
    static constexpr auto fields = std::tuple{
        &CBoxCfgBank::Spkrs,     &CBoxCfgBank::config_,       &CBoxCfgBank::Data,     &CBoxCfgBank::Data2,
        &CBoxCfgBank::DataValid, &CBoxCfgBank::EqualiserData, &CBoxCfgBank::FWTarget, &CBoxCfgBank::SampleRate};
};

}  // namespace lumvex::inside
