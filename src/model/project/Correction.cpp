#include "model/project/Correction.hpp"

#include "core/base/strings.hpp"

namespace lumvex::inside {

namespace {
constexpr int kSpeakerCorrection = 4259, kSmoothedMeasurement = 169;
constexpr unsigned kFirstWithStart = 5, kLastInSeconds = 11;
}  // namespace

std::optional<std::u16string_view> CCorrection::DataName(LXDataName index) const {
    switch (index) {
        case LX_DN_DATA:
            return StringOf(kSpeakerCorrection);
        case LX_DN_DATA2:
            return StringOf(kSmoothedMeasurement);
        default:
            return std::nullopt;
    }
}

// Up to version 11 the start of the window is in seconds where it is below 1; the end was always in milliseconds.
void CCorrection::Upgrade(VersionWord from) {
    if (from.Writer() < kFirstWithStart || from.Writer() > kLastInSeconds) return;
    if (MeasureStart.value < 1.0f) MeasureStart.value *= 1000.0f;
}

}  // namespace lumvex::inside
