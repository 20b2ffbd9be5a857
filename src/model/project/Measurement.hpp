// One captured response and how it was analysed.
#pragma once

#include "arrays/array_field.hpp"
#include "core/tree/item.hpp"
#include "model/project/config_channels.hpp"

namespace lumvex::inside {

class CExperiment;

class CMeasurement : public Item<CMeasurement, IMeasurement> {
public:
    ItemReference<CExperiment> Experiment;  // the set-up it was taken with
    ArrayOf<kArrayOfConfig> Data;
    Scalar<float> MeasureEnd, MeasureStart;  // of the analysis window, milliseconds
    Scalar<float> Volume, SPLScale{1.0f};
    Scalar<LXIOConfig> IOConfig{LX_IOCFG_UNKNOWN};

    LONG SampleRate() const;  // samples per second; fails with 4009 on an orphaned measurement
    void SampleRate(LONG rate) { sampleRate_.Put(rate, *this); }

    // "Woofer (44kHz On axis at 1.00m - 3/14/2024 9:26:53 AM)": date and time as the user writes them.
    std::u16string DisplayName() override;
    void Upgrade(VersionWord from);

private:
    void SwapFirstChannels();

    Scalar<LONG> sampleRate_{48000};  // samples per second
    friend struct RecordOf<CMeasurement>;
};

template <>
struct RecordOf<CMeasurement> : Record<CMeasurement> {
    static constexpr auto fields =
        std::tuple{&CMeasurement::Experiment,           &CMeasurement::Data,
                   Since<2>(&CMeasurement::MeasureEnd), Since<2>(&CMeasurement::MeasureStart),
                   Since<4>(&CMeasurement::Volume),     Since<5>(&CMeasurement::SPLScale),
                   Since<6>(&CMeasurement::IOConfig),   Since<8>(&CMeasurement::sampleRate_)};
};

}  // namespace lumvex::inside
