// Frequencies as people look at them, in equal parts of an octave, and the means of a spectrum over such parts.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace lumvex::acoustics {

// Points of all curves against frequency: 1000 Hz and 96 points in every octave, so that curves of different
// measurements have the same frequencies.
inline constexpr int kPointsPerOctave = 96;

double ScaleFrequency(long point);  // Hz; point 0 is 1000 Hz

// The first point that is not below a frequency in Hz, the last that is not above it.
long FirstPoint(double lowest);
long LastPoint(double highest);

// The points from `lowest` to `highest` (Hz), both above 0, the ends included where they are points.
std::vector<double> FrequencyScale(double lowest, double highest);

// What smoothing there is: the width of a band is one part of an octave in so many. None is 0.
inline constexpr int kSmoothings[] = {48, 24, 12, 6, 3};

std::string SmoothingName(int smoothing);  // "1/12 octave", "none"

// The integral of a line through values at equal distances, for the mean over any range of it.
class RunningSum {
public:
    // values[k] is at k * distance.
    RunningSum(std::span<const double> values, double distance);

    // From 0 to `at`, which is cut to the values' range.
    double Until(double at) const;

    // The mean from `from` to `to`; the line's value where both are the same.
    double Mean(double from, double to) const;

private:
    std::span<const double> values_;
    double distance_;
    std::vector<double> sums_;
};

}  // namespace lumvex::acoustics
