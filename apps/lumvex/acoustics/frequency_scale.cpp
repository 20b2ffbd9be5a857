#include "acoustics/frequency_scale.hpp"

#include <algorithm>
#include <cmath>

namespace lumvex::acoustics {

namespace {

constexpr double kReference = 1000;  // Hz
constexpr double kRounding = 1e-9;   // of points

double PointOf(double frequency) { return std::log2(frequency / kReference) * kPointsPerOctave; }

}  // namespace

double ScaleFrequency(long point) { return kReference * std::exp2(static_cast<double>(point) / kPointsPerOctave); }

long FirstPoint(double lowest) { return static_cast<long>(std::ceil(PointOf(lowest) - kRounding)); }
long LastPoint(double highest) { return static_cast<long>(std::floor(PointOf(highest) + kRounding)); }

std::vector<double> FrequencyScale(double lowest, double highest) {
    std::vector<double> points;
    for (long point = FirstPoint(lowest), last = LastPoint(highest); point <= last; ++point)
        points.push_back(ScaleFrequency(point));
    return points;
}

std::string SmoothingName(int smoothing) {
    return smoothing == 0 ? "none" : "1/" + std::to_string(smoothing) + " octave";
}

RunningSum::RunningSum(std::span<const double> values, double distance)
    : values_(values), distance_(distance), sums_(values.size()) {
    for (std::size_t k = 1; k < values.size(); ++k)
        sums_[k] = sums_[k - 1] + (values[k - 1] + values[k]) / 2 * distance;
}

double RunningSum::Until(double at) const {
    if (values_.empty()) return 0;
    const double place = std::clamp(at / distance_, 0.0, static_cast<double>(values_.size() - 1));
    const auto below = static_cast<std::size_t>(place);
    if (below + 1 >= values_.size()) return sums_.back();
    const double part = place - static_cast<double>(below);
    return sums_[below] + distance_ * part * (values_[below] + part / 2 * (values_[below + 1] - values_[below]));
}

double RunningSum::Mean(double from, double to) const {
    if (values_.empty()) return 0;
    const double end = distance_ * static_cast<double>(values_.size() - 1);
    from = std::clamp(from, 0.0, end);
    to = std::clamp(to, 0.0, end);
    if (to > from) return (Until(to) - Until(from)) / (to - from);
    const auto below = static_cast<std::size_t>(from / distance_);
    if (below + 1 >= values_.size()) return values_.back();
    return values_[below] + (from / distance_ - static_cast<double>(below)) * (values_[below + 1] - values_[below]);
}

}  // namespace lumvex::acoustics
