#include "acoustics/window.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lumvex::acoustics {

namespace {

// Rises from 0 to 1 between -1 and `count`.
double HalfHann(std::size_t place, std::size_t count) {
    return 0.5 - 0.5 * std::cos(std::numbers::pi * (static_cast<double>(place) + 1) / (static_cast<double>(count) + 1));
}

std::size_t SampleAt(double ms, double rate, std::size_t count) {
    const double place = std::round(ms / 1000 * rate);
    return place > 0 ? static_cast<std::size_t>(std::min(place, static_cast<double>(count))) : 0;
}

}  // namespace

std::size_t PeakOf(std::span<const float> samples) {
    std::size_t peak = 0;
    float greatest = 0;
    for (std::size_t n = 0; n < samples.size(); ++n) {
        if (std::abs(samples[n]) <= greatest) continue;
        greatest = std::abs(samples[n]);
        peak = n;
    }
    return peak;
}

Window WindowFrom(double startMs, double endMs, double rate, std::span<const float> samples) {
    Window window{.first = SampleAt(startMs, rate, samples.size()), .last = SampleAt(endMs, rate, samples.size())};
    window.isWhole = window.last <= window.first || window.Count() == samples.size();
    if (window.isWhole) return {.first = 0, .last = samples.size()};
    const std::size_t peak = PeakOf(samples.subspan(window.first, window.Count()));
    window.fadeIn = peak / 5;
    window.fadeOut = (window.Count() - peak) / 5;
    return window;
}

std::vector<double> Windowed(std::span<const float> samples, const Window& window) {
    const std::span<const float> inside = samples.subspan(window.first, window.Count());
    std::vector<double> faded(inside.begin(), inside.end());
    for (std::size_t n = 0; n < window.fadeIn; ++n) faded[n] *= HalfHann(n, window.fadeIn);
    for (std::size_t n = 0; n < window.fadeOut; ++n) faded[faded.size() - 1 - n] *= HalfHann(n, window.fadeOut);
    return faded;
}

}  // namespace lumvex::acoustics
