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

struct Band {
    double from, to;
};

// A frequency and one part of an octave around it.
Band BandAt(double frequency, int smoothing) {
    const double half = smoothing == 0 ? 1 : std::exp2(0.5 / smoothing);
    return {frequency / half, frequency * half};
}

template <class Value>
std::vector<double> OfEach(const ResponseSpectrum& spectrum, Value value) {
    std::vector<double> all(spectrum.values.size());
    for (std::size_t k = 0; k < all.size(); ++k) all[k] = value(spectrum.values[k], spectrum.delays[k]);
    return all;
}

double PowerOf(const Complex& value, const Complex&) { return std::norm(value); }

}  // namespace

double Decibels(double magnitude) { return PowerDecibels(magnitude * magnitude); }
double PowerDecibels(double power) { return 10 * std::log10(std::max(power, kLeastPower)); }

ResponseSpectrum SpectrumOf(std::span<const float> samples, double rate, const Window& window) {
    std::vector<double> inside = Windowed(samples, window);
    ResponseSpectrum spectrum;
    spectrum.size = std::max(kSmallestTransform, PowerOfTwoFrom(inside.size()));
    spectrum.distance = rate / static_cast<double>(spectrum.size);
    spectrum.resolution = rate / static_cast<double>(std::max<std::size_t>(1, inside.size()));
    const std::size_t peak = PeakOf(samples.subspan(window.first, window.Count()));
    spectrum.arrival = static_cast<double>(window.first + peak) / rate;
    spectrum.values = Spectrum(inside, spectrum.size);
    for (std::size_t n = 0; n < inside.size(); ++n) inside[n] *= static_cast<double>(n) / rate;
    spectrum.delays = Spectrum(inside, spectrum.size);
    // Both as if the window began with the response's first sample.
    const double start = static_cast<double>(window.first) / rate;
    for (std::size_t k = 0; window.first > 0 && k < spectrum.values.size(); ++k) {
        const Complex turn =
            std::polar(1.0, -2 * std::numbers::pi * spectrum.distance * static_cast<double>(k) * start);
        spectrum.delays[k] = turn * (spectrum.delays[k] + start * spectrum.values[k]);
        spectrum.values[k] *= turn;
    }
    return spectrum;
}

void Multiply(ResponseSpectrum& spectrum, const std::function<double(double)>& factor) {
    for (std::size_t k = 0; k < spectrum.values.size(); ++k) {
        const double by = factor(spectrum.distance * static_cast<double>(k));
        spectrum.values[k] *= by;
        spectrum.delays[k] *= by;
    }
}

std::vector<double> SmoothedLevel(const ResponseSpectrum& spectrum, std::span<const double> frequencies,
                                  int smoothing) {
    const std::vector<double> powers = OfEach(spectrum, PowerOf);
    const RunningSum sum(powers, spectrum.distance);
    std::vector<double> levels;
    levels.reserve(frequencies.size());
    for (const double frequency : frequencies) {
        const Band band = BandAt(frequency, smoothing);
        levels.push_back(PowerDecibels(sum.Mean(band.from, band.to)));
    }
    return levels;
}

std::vector<double> GroupDelay(const ResponseSpectrum& spectrum, std::span<const double> frequencies, int smoothing) {
    const std::vector<double> powers = OfEach(spectrum, PowerOf);
    const std::vector<double> delayed = OfEach(spectrum, [](const Complex& value, const Complex& delay) {
        return value.real() * delay.real() + value.imag() * delay.imag();
    });
    const RunningSum power(powers, spectrum.distance), delay(delayed, spectrum.distance);
    std::vector<double> delays;
    delays.reserve(frequencies.size());
    for (const double frequency : frequencies) {
        const Band band = BandAt(frequency, smoothing);
        const double below = std::max(power.Mean(band.from, band.to), kLeastPower);
        delays.push_back(1000 * delay.Mean(band.from, band.to) / below);
    }
    return delays;
}

std::vector<double> UnwrappedPhase(const ResponseSpectrum& spectrum, std::span<const double> frequencies) {
    std::vector<double> all(spectrum.values.size());
    for (std::size_t k = 0; k < all.size(); ++k) {
        const double turn = 2 * std::numbers::pi * spectrum.distance * static_cast<double>(k) * spectrum.arrival;
        all[k] = kDegrees * std::arg(spectrum.values[k] * std::polar(1.0, std::remainder(turn, 2 * std::numbers::pi)));
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
