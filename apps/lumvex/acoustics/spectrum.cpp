#include "acoustics/spectrum.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "acoustics/frequency_scale.hpp"

namespace lumvex::acoustics {

namespace {

constexpr std::size_t kSmallestTransform = 32768;
constexpr double kLeastPower = 1e-30;
constexpr double kDegrees = 180 / std::numbers::pi;

// Bands of every smoothing are whole numbers of parts on either side of a point.
constexpr long kMostParts = kPointsPerOctave / 2 / *std::ranges::min_element(kSmoothings);
static_assert(std::ranges::all_of(kSmoothings, [](int each) { return kPointsPerOctave % (2 * each) == 0; }));

}  // namespace

double Decibels(double magnitude) { return PowerDecibels(magnitude * magnitude); }
double PowerDecibels(double power) { return 10 * std::log10(std::max(power, kLeastPower)); }

ResponseSpectrum SpectrumOf(std::span<const float> samples, double rate, const Window& window) {
    const std::vector<double> inside = Windowed(samples, window);
    ResponseSpectrum spectrum;
    spectrum.size = std::max(kSmallestTransform, PowerOfTwoFrom(inside.size()));
    spectrum.distance = rate / static_cast<double>(spectrum.size);
    spectrum.resolution = rate / static_cast<double>(std::max<std::size_t>(1, inside.size()));
    const std::size_t peak = PeakOf(samples.subspan(window.first, window.Count()));
    spectrum.arrival = static_cast<double>(window.first + peak) / rate;
    // The transform takes time as a circle: samples keep the time of the response's first one, however late the window.
    std::vector<double> placed(spectrum.size), delayed(spectrum.size);
    for (std::size_t n = 0; n < inside.size(); ++n) {
        const std::size_t at = (window.first + n) % spectrum.size;
        placed[at] = inside[n];
        delayed[at] = inside[n] * (static_cast<double>(window.first + n) / rate);
    }
    spectrum.values = Spectrum(placed, spectrum.size);
    spectrum.delays = Spectrum(delayed, spectrum.size);
    return spectrum;
}

void Multiply(ResponseSpectrum& spectrum, const std::function<double(double)>& factor) {
    for (std::size_t k = 0; k < spectrum.values.size(); ++k) {
        const double by = factor(spectrum.distance * static_cast<double>(k));
        spectrum.values[k] *= by;
        spectrum.delays[k] *= by;
    }
}

OctaveParts PartsOf(const ResponseSpectrum& spectrum, double lowest) {
    std::vector<double> powers(spectrum.values.size()), delayed(spectrum.values.size());
    for (std::size_t k = 0; k < powers.size(); ++k) {
        const Complex& value = spectrum.values[k];
        const Complex& delay = spectrum.delays[k];
        powers[k] = std::norm(value);
        delayed[k] = value.real() * delay.real() + value.imag() * delay.imag();
    }
    const RunningSum power(powers, spectrum.distance), delay(delayed, spectrum.distance);
    OctaveParts parts{.first = FirstPoint(lowest) - kMostParts, .highest = spectrum.Highest()};
    for (long point = parts.first; ScaleFrequency(point) < parts.highest; ++point) {
        const double from = ScaleFrequency(point), to = std::min(ScaleFrequency(point + 1), parts.highest);
        const double mean = std::max(power.Mean(from, to), kLeastPower);
        parts.levels.push_back(PowerDecibels(mean));
        parts.delays.push_back(1000 * delay.Mean(from, to) / mean);
    }
    return parts;
}

Smoothed SmoothedFrom(const OctaveParts& parts, int smoothing) {
    const auto count = static_cast<long>(parts.levels.size());
    std::vector<double> widths, energies;
    for (long k = 0; k < count; ++k) {
        const double from = ScaleFrequency(parts.first + k);
        widths.push_back(std::min(ScaleFrequency(parts.first + k + 1), parts.highest) - from);
        energies.push_back(widths.back() * std::pow(10, parts.levels[k] / 10));
    }
    Smoothed curves;
    const long half = kPointsPerOctave / 2 / smoothing;
    for (long point = kMostParts, last = LastPoint(parts.highest) - parts.first; point <= last; ++point) {
        double width = 0, energy = 0, delayed = 0;
        for (long k = point - half; k < std::min(point + half, count); ++k) {
            width += widths[k];
            energy += energies[k];
            delayed += energies[k] * parts.delays[k];
        }
        curves.levels.push_back(PowerDecibels(energy / width));
        curves.delays.push_back(delayed / energy);
    }
    return curves;
}

std::vector<double> TwelfthOctaveLevel(const ResponseSpectrum& spectrum, std::span<const double> frequencies) {
    std::vector<double> powers(spectrum.values.size());
    std::ranges::transform(spectrum.values, powers.begin(), [](const Complex& value) { return std::norm(value); });
    const RunningSum sum(powers, spectrum.distance);
    static const double half = std::exp2(0.5 / 12);
    std::vector<double> levels;
    levels.reserve(frequencies.size());
    for (const double frequency : frequencies)
        levels.push_back(PowerDecibels(sum.Mean(frequency / half, frequency * half)));
    return levels;
}

std::vector<double> UnwrappedPhase(const ResponseSpectrum& spectrum, std::span<const double> frequencies) {
    std::vector<double> all(spectrum.values.size());
    for (std::size_t k = 0; k < all.size(); ++k) {
        const double turns = spectrum.distance * static_cast<double>(k) * spectrum.arrival;
        all[k] = kDegrees * std::arg(spectrum.values[k]) + 360 * (turns - std::floor(turns));
    }
    Unwrap(all);
    std::vector<double> phases;
    phases.reserve(frequencies.size());
    for (const double frequency : frequencies) {
        const double place = frequency / spectrum.distance;
        const std::size_t below = std::min(static_cast<std::size_t>(place), all.size() - 2);
        phases.push_back(all[below] + (place - static_cast<double>(below)) * (all[below + 1] - all[below]));
    }
    if (phases.empty()) return phases;
    const double turns = 360 * std::round(phases.front() / 360);
    for (double& phase : phases) phase -= turns;
    return phases;
}

void Unwrap(std::span<double> degrees) {
    for (std::size_t k = 1; k < degrees.size(); ++k)
        degrees[k] -= 360 * std::round((degrees[k] - degrees[k - 1]) / 360);
}

Complex ValueAt(const ResponseSpectrum& spectrum, double frequency) {
    const double place = frequency / spectrum.distance;
    const auto below = static_cast<std::size_t>(place);
    if (below + 1 >= spectrum.values.size()) return 0;
    return spectrum.values[below] +
           (place - static_cast<double>(below)) * (spectrum.values[below + 1] - spectrum.values[below]);
}

}  // namespace lumvex::acoustics
