// One designed correction filter: what it was made from, under which settings, and what it achieves.
#pragma once

#include "arrays/array_field.hpp"
#include "core/tree/item.hpp"
#include "model/project/config_channels.hpp"
#include "model/project/whole_as_float.hpp"

namespace lumvex::inside {

class CMeasurement;

class CCorrection : public Item<CCorrection, ICorrection> {
public:
    ItemReference<CMeasurement> Measurement;  // what it was designed from
    WholeAsFloat SampleRate{48000};
    ArrayOf<kArrayOfConfig> Data, Data2, VerifyMeas;
    Scalar<float> ActDelay, ActGDError, ActMagError;  // what the design achieves: ms, ms, dB
    Array LimitData, CrossoverData;  // a column for each entry, its values in the order of LXArrayIndex
    Scalar<float> MaxDelay, GDTol, MagTol, MeasSmooth, LmtSmooth, MaxOffset;
    Scalar<LXXover> CrossoverMethod{LX_LINEAR_PHASE};
    Scalar<LXMSmooth> MeasSmoothMethod{LX_MSMTH_CHEBY};
    Scalar<float> MeasureEnd, MeasureStart;  // of the analysis window, milliseconds
    Scalar<float> MeasureScale{1.0f}, MeasureTweak, CorrectionScale{1.0f};
    Scalar<LXOptMethod> OptMethod{LX_OM_MINDELAY};
    Scalar<LONG> MinphaseSmooth;
    Indexed<Scalar<float>, 6> FiltChanDelayMs;  // by processor output
    Scalar<float> FWTarget;
    Scalar<LONG> DisplayPosition;  // for clients, as long as the object is in memory; not stored

    std::optional<std::u16string_view> DataName(LXDataName index) const;
    void Upgrade(VersionWord from);
};

template <>
struct RecordOf<CCorrection> : Record<CCorrection> {
    static constexpr auto fields = std::tuple{&CCorrection::Measurement,
                                              Since<1>(&CCorrection::SampleRate),
                                              &CCorrection::Data,
                                              Since<2>(&CCorrection::Data2),
                                              Since<3>(&CCorrection::ActDelay),
                                              Since<3>(&CCorrection::ActGDError),
                                              Since<3>(&CCorrection::ActMagError),
                                              Since<5>(&CCorrection::LimitData),
                                              Since<5>(&CCorrection::CrossoverData),
                                              Since<5>(&CCorrection::MaxDelay),
                                              Since<5>(&CCorrection::GDTol),
                                              Since<5>(&CCorrection::MagTol),
                                              Since<5>(&CCorrection::CrossoverMethod),
                                              Since<5>(&CCorrection::MeasSmoothMethod),
                                              Since<5>(&CCorrection::MeasSmooth),
                                              Since<5>(&CCorrection::LmtSmooth),
                                              Since<5>(&CCorrection::MaxOffset),
                                              Since<5>(&CCorrection::MeasureEnd),
                                              Since<5>(&CCorrection::MeasureStart),
                                              Since<6>(&CCorrection::VerifyMeas),
                                              Since<7>(&CCorrection::MeasureScale),
                                              Since<8>(&CCorrection::OptMethod),
                                              Since<9>(&CCorrection::MinphaseSmooth),
                                              Since<10>(&CCorrection::MeasureTweak),
                                              Since<11>(&CCorrection::CorrectionScale),
                                              Since<13>(&CCorrection::FiltChanDelayMs),
                                              Since<14>(&CCorrection::FWTarget)};
};

}  // namespace lumvex::inside
