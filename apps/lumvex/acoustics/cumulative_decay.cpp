#include "acoustics/cumulative_decay.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "acoustics/frequency_scale.hpp"
#include "acoustics/spectrum.hpp"

namespace lumvex::acoustics {

namespace {

constexpr std::size_t kTransform = 8192, kLeast = 128;
constexpr int kParts = 30;
constexpr double kShown = 0.6;  // of the window: later parts are too short for a spectrum
constexpr double kFadeMs = 0.3;

// Rises from 0 before the first value to 1 behind the last.
std::vector<double> HalfHann(std::size_t count) {
    std::vector<double> values(count);
    for (std::size_t n = 0; n < count; ++n)
        values[n] =
            0.5 - 0.5 * std::cos(std::numbers::pi * static_cast<double>(n + 1) / static_cast<double>(count + 1));
    return values;
}

}  // namespace

CumulativeDecay CumulativeDecayOf(std::span<const float> samples, double rate, const Window& window) {
    const std::size_t peak = window.first + PeakOf(samples.subspan(window.first, window.Count()));
    const std::size_t fade = std::min(static_cast<std::size_t>(kFadeMs / 1000 * rate), kTransform / 2);
    const std::size_t count = std::min(window.last - peak, kTransform - fade);
    if (count < kLeast) return {};

    CumulativeDecay decay;
    decay.fade = static_cast<double>(fade) / rate * 1000;
    decay.resolution = rate / static_cast<double>(count);
    const double lowest = std::max(20.0, decay.resolution);
    const std::vector<double> scale = FrequencyScale(lowest, std::min(20000.0, 0.49 * rate));
    if (scale.empty()) return {};
    decay.firstPoint = FirstPoint(lowest);
    for (std::size_t k = 0; k < scale.size(); k += kMapPoints) decay.frequencies.push_back(scale[k]);
    const std::size_t size = PowerOfTwoFrom(count + fade);
    const std::vector<double> rising = HalfHann(fade), falling = HalfHann(count / 5);
    for (int part = 0; part < kParts; ++part) {
        const double shift = kShown * static_cast<double>(count) * part / (kParts - 1);
        const auto start = peak + static_cast<std::size_t>(shift);
        decay.times.push_back(static_cast<double>(start - peak) / rate * 1000);
        // The fade ends where the part starts; the end of the window fades out over its last fifth.
        const std::size_t first = start - std::min(start - window.first, fade);
        std::vector<double> inside(samples.begin() + static_cast<std::ptrdiff_t>(first),
                                   samples.begin() + static_cast<std::ptrdiff_t>(peak + count));
        for (std::size_t n = first; n < start; ++n) inside[n - first] *= rising[fade - (start - n)];
        for (std::size_t n = 0; n < falling.size() && n < inside.size(); ++n)
            inside[inside.size() - 1 - n] *= falling[n];
        ResponseSpectrum spectrum;
        spectrum.values = Spectrum(inside, size);
        spectrum.distance = rate / static_cast<double>(size);
        for (const double level : TwelfthOctaveLevel(spectrum, decay.frequencies))
            decay.levels.push_back(static_cast<float>(level));
    }
    const float greatest = *std::ranges::max_element(decay.levels);
    for (float& level : decay.levels) level -= greatest;
    return decay;
}

}  // namespace lumvex::acoustics
