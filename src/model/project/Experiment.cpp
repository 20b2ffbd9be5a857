#include "model/project/Experiment.hpp"

#include "core/base/strings.hpp"
#include "model/project/Project.hpp"
#include "model/project/display_text.hpp"

namespace lumvex::inside {

namespace {
constexpr int kOnAxis = 4261, kOffAxis = 4262, kOnAxisFeet = 4263, kOffAxisFeet = 4264;
constexpr double kFeetPerMetre = 3.28084;
}  // namespace

// Distances are in metres unless the project says feet; an orphaned experiment has no project to ask.
std::u16string CExperiment::DisplayName() {
    const CProject* project = ProjectOf(*this);
    const bool feet = project && project->Units.value == LX_UNITS_IMPERIAL;
    const double angle = MicAngle.value;
    const double distance = feet ? MicDistance.value * kFeetPerMetre : MicDistance.value;
    if (angle == 0) return FormatFixed(StringOf(feet ? kOnAxisFeet : kOnAxis), {distance});
    return FormatFixed(StringOf(feet ? kOffAxisFeet : kOffAxis), {angle, distance});
}

}  // namespace lumvex::inside
