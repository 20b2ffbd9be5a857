// One design template: the settings from which speaker corrections are designed, and what the design draws on.
#pragma once

#include "arrays/array_field.hpp"
#include "core/tree/item.hpp"
#include "model/project/SpkrCorrectionGroups.hpp"
#include "model/project/SpkrMeasureLinks.hpp"

namespace lumvex::inside {

// The correction groups of a template. Older records hold links to corrections directly on the template. They are kept
// here until the template has taken its place in the document, and then moved into a group.
class CorrectionGroups : public Child<CSpkrCorrectionGroups> {
public:
    ChildSlot oldLinks;  // a CSpkrCorrectionLinks
};

// In a record: 16 bits: 0 nothing, 1 followed by the reference to links, 2 followed by the reference to groups.
void SaveField(RecordWriter& writer, const CorrectionGroups& field);
void LoadField(RecordReader& reader, CorrectionGroups& field);

class CSpkrEQDesign final : public Item<CSpkrEQDesign, ISpkrEQDesign> {
public:
    Child<CSpkrMeasureLinks> SpkrMeasureLinks;
    CorrectionGroups SpkrCorrectionGroups;
    Array LimitData, CrossoverData;  // a column for each entry, its values in the order of LXArrayIndex
    Scalar<float> MaxDelay, GDTol, MagTol, MeasSmooth, LmtSmooth, MaxOffset;
    Scalar<LXXover> CrossoverMethod{LX_LINEAR_PHASE};
    Scalar<LXMSmooth> MeasSmoothMethod{LX_MSMTH_CHEBY};
    Scalar<float> MeasureEnd, MeasureStart;  // of the analysis window, milliseconds
    Scalar<LONG> AutoScale;
    Scalar<LXOptMethod> OptMethod{LX_OM_MINDELAY};
    Scalar<LONG> MinphaseSmooth, StepResponseCorr, SampleRate{48000};
    Scalar<float> GDRangeMin, FWTarget;

    void ForEachChild(const ChildVisitor& visit) override;
    void Arrived(Arrival how) override;
};

template <>
struct RecordOf<CSpkrEQDesign> : Record<CSpkrEQDesign> {
    static constexpr auto fields =
        std::tuple{&CSpkrEQDesign::SpkrMeasureLinks, Changed<2>(&CSpkrEQDesign::SpkrCorrectionGroups),
                   &CSpkrEQDesign::LimitData,        &CSpkrEQDesign::CrossoverData,
                   &CSpkrEQDesign::MaxDelay,         &CSpkrEQDesign::GDTol,
                   &CSpkrEQDesign::MagTol,           &CSpkrEQDesign::CrossoverMethod,
                   &CSpkrEQDesign::MeasSmoothMethod, &CSpkrEQDesign::MeasSmooth,
                   &CSpkrEQDesign::LmtSmooth,        &CSpkrEQDesign::MaxOffset,
                   &CSpkrEQDesign::MeasureEnd,       &CSpkrEQDesign::MeasureStart,
                   &CSpkrEQDesign::AutoScale,        &CSpkrEQDesign::OptMethod,
                   &CSpkrEQDesign::MinphaseSmooth,   &CSpkrEQDesign::StepResponseCorr,
                   &CSpkrEQDesign::SampleRate,       &CSpkrEQDesign::GDRangeMin,
                   &CSpkrEQDesign::FWTarget};
};

}  // namespace lumvex::inside
