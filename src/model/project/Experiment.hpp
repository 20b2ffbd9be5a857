// How a measurement was taken: microphone, processor, cable, signal, and what was measured.
#pragma once

#include "core/tree/item.hpp"
#include "model/project/ExpMeasureLinks.hpp"
#include "model/project/library_reference.hpp"

namespace lumvex::inside {

class CModelConfig;

class CExperiment final : public Item<CExperiment, IExperiment> {
public:
    Text MicSerialNo, QDUSerialNo;
    Scalar<float> MicDistance, MicHeight;  // metres
    Scalar<float> MicAngle;                // degrees off the speaker's axis
    Scalar<LONG> CableType, AverageOver, SignalType;
    Child<CExpMeasureLinks> ExpMeasureLinks;
    Scalar<float> TweeterFreq, MidrangeFreq, WooferFreq;  // Hz
    LibraryReference<CModelConfig, 3> ModelConfig;

    std::u16string DisplayName() override;  // "On axis at 1.00m", in the project's units
};

template <>
struct RecordOf<CExperiment> : Record<CExperiment> {
    static constexpr auto fields = std::tuple{
        &CExperiment::MicSerialNo, &CExperiment::QDUSerialNo,  &CExperiment::CableType,   &CExperiment::MicDistance,
        &CExperiment::MicHeight,   &CExperiment::MicAngle,     &CExperiment::AverageOver, &CExperiment::SignalType,
        &CExperiment::TweeterFreq, &CExperiment::MidrangeFreq, &CExperiment::WooferFreq,  &CExperiment::ExpMeasureLinks,
        &CExperiment::ModelConfig};
};

}  // namespace lumvex::inside
