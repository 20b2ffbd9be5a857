// Display names of experiments in both unit systems.
#include <limits>

#include "kit/full_project.hpp"

namespace lumvex::tests {
namespace {

TEST(DisplayNames, OfExperiments) {
    FullProject full;
    constexpr float kTiny = std::numeric_limits<float>::denorm_min();
    const struct {
        LXUnits units;
        float angle, distance;
        std::u16string_view shown;
    } cases[] = {
        {LX_UNITS_METRIC, 0, 1.5f, u"On axis at 1.50m"},
        {LX_UNITS_IMPERIAL, 0, 1.5f, u"On axis at 4.92 ft"},
        {LX_UNITS_METRIC, -0.0f, 0, u"On axis at 0.00m"},
        {LX_UNITS_METRIC, 30, 1, u"30 deg off axis at 1.00m"},
        {LX_UNITS_IMPERIAL, -22.6f, 1, u"-23 deg off axis at 3.28 ft"},
        {LX_UNITS_METRIC, kTiny, 2.005f, u"0 deg off axis at 2.01m"},  // 2.00500011
        {LX_UNITS_METRIC, 2.5f, 0.125f, u"2 deg off axis at 0.12m"},   // halves go to the even digit
        {static_cast<LXUnits>(5), 0, 1, u"On axis at 1.00m"},
        {LX_UNITS_METRIC, 0, 1e30f, u"On axis at 1000000015047466219876688855040.00m"},
    };
    for (const auto& each : cases) {
        full.project.Units(each.units);
        full.experiment.MicAngle(each.angle);
        full.experiment.MicDistance(each.distance);
        EXPECT_EQ(ToUtf8(full.experiment.DisplayName()), ToUtf8(each.shown));
    }
}

}  // namespace
}  // namespace lumvex::tests
