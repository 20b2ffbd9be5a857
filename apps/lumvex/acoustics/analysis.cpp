#include "acoustics/analysis.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "acoustics/thinned.hpp"

namespace lumvex::acoustics {

namespace {

constexpr std::size_t kTimeParts = 600;   // of curves against time; each keeps two points
constexpr int kExactPartsPerOctave = 96;  // of the exact level

Points Kept(std::span<const double> values, std::span<const std::size_t> places, double distance) {
    Points points;
    for (const std::size_t place : places) {
        points.x.push_back(static_cast<double>(place) * distance);
        points.y.push_back(values[place]);
    }
    return points;
}

// The spectrum's own values from the lowest frequency on; of those that are closer than a point of the scale the
// extremes.
Points ExactLevel(const ResponseSpectrum& spectrum) {
    std::vector<double> powers(spectrum.values.size());
    std::ranges::transform(spectrum.values, powers.begin(), [](const Complex& value) { return std::norm(value); });
    const double ratio = std::exp2(1.0 / kExactPartsPerOctave);
    std::vector<std::size_t> parts;
    auto place = static_cast<std::size_t>(std::ceil(kLowestAnalysed / spectrum.distance));
    while (place < powers.size()) {
        parts.push_back(place);
        place = std::max(place + 1, static_cast<std::size_t>(std::ceil(static_cast<double>(place) * ratio)));
    }
    Points points = Kept(powers, Thinned(powers, parts), spectrum.distance);
    for (double& level : points.y) level = PowerDecibels(level);
    return points;
}

}  // namespace

Analysis Analyse(std::span<const float> samples, const AnalysisOptions& options) {
    Analysis analysis;
    analysis.window = WindowFrom(options.startMs, options.endMs, options.rate, samples);
    ResponseSpectrum spectrum = SpectrumOf(samples, options.rate, analysis.window);
    Multiply(spectrum, [&](double frequency) {
        return options.scale * (options.calibration ? options.calibration(frequency) : 1);
    });
    analysis.size = spectrum.size;
    analysis.resolution = spectrum.resolution;
    analysis.arrival = 1000 * spectrum.arrival;
    analysis.frequencies = FrequencyScale(kLowestAnalysed, spectrum.Highest());
    analysis.exact = ExactLevel(spectrum);
    analysis.parts = PartsOf(spectrum, kLowestAnalysed);
    analysis.phase = UnwrappedPhase(spectrum, analysis.frequencies);
    if (options.hasDecay) {
        analysis.decay = EnergyDecayOf(samples, options.rate);
        analysis.bands = OctaveBandDecays(samples, options.rate);
        analysis.cumulative = CumulativeDecayOf(samples, options.rate, analysis.window);
    }
    return analysis;
}

Points ImpulseOf(std::span<const float> samples, double rate) {
    const std::vector<double> values(samples.begin(), samples.end());
    return Kept(values, Thinned(values, EqualParts(values.size(), kTimeParts)), 1000 / rate);
}

Points StepOf(std::span<const float> samples, double rate) {
    std::vector<double> step(samples.size());
    const double greatest = std::abs(samples[PeakOf(samples)]);
    double sum = 0;
    for (std::size_t n = 0; n < step.size(); ++n) step[n] = greatest > 0 ? (sum += samples[n]) / greatest : 0;
    return Kept(step, Thinned(step, EqualParts(step.size(), kTimeParts)), 1000 / rate);
}

Points LevelOf(const std::function<Complex(double)>& response, std::span<const double> frequencies) {
    Points points{{frequencies.begin(), frequencies.end()}, {}};
    for (const double frequency : frequencies) points.y.push_back(Decibels(std::abs(response(frequency))));
    return points;
}

std::vector<double> PhaseOf(const std::function<Complex(double)>& response, std::span<const double> frequencies) {
    std::vector<double> phases;
    for (const double frequency : frequencies) phases.push_back(180 / std::numbers::pi * std::arg(response(frequency)));
    Unwrap(phases);
    return phases;
}

}  // namespace lumvex::acoustics
