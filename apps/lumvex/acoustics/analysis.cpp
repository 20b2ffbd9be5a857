#include "acoustics/analysis.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "acoustics/thinned.hpp"

namespace lumvex::acoustics {

namespace {

constexpr double kLowest = 10;            // Hz
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
    std::vector<double> levels(spectrum.values.size());
    for (std::size_t k = 0; k < levels.size(); ++k) levels[k] = Decibels(std::abs(spectrum.values[k]));
    const double ratio = std::exp2(1.0 / kExactPartsPerOctave);
    std::vector<std::size_t> parts;
    auto place = static_cast<std::size_t>(std::ceil(kLowest / spectrum.distance));
    while (place < levels.size()) {
        parts.push_back(place);
        place = std::max(place + 1, static_cast<std::size_t>(std::ceil(static_cast<double>(place) * ratio)));
    }
    return Kept(levels, Thinned(levels, parts), spectrum.distance);
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
    analysis.frequencies = FrequencyScale(kLowest, spectrum.Highest());
    analysis.exact = ExactLevel(spectrum);
    for (std::size_t each = 0; each < std::size(kSmoothings); ++each) {
        analysis.levels[each] = SmoothedLevel(spectrum, analysis.frequencies, kSmoothings[each]);
        analysis.delays[each] = GroupDelay(spectrum, analysis.frequencies, kSmoothings[each]);
    }
    analysis.phase = UnwrappedPhase(spectrum, analysis.frequencies);

    const std::vector<double> values(samples.begin(), samples.end());
    const double distance = 1000 / options.rate;
    const std::vector<std::size_t> parts = EqualParts(values.size(), kTimeParts);
    analysis.impulse = Kept(values, Thinned(values, parts), distance);
    std::vector<double> step(values.size());
    const double greatest = std::abs(values[PeakOf(samples)]);
    double sum = 0;
    for (std::size_t n = 0; n < values.size(); ++n) step[n] = greatest > 0 ? (sum += values[n]) / greatest : 0;
    analysis.step = Kept(step, Thinned(step, parts), distance);
    if (options.hasDecay) {
        analysis.decay = EnergyDecayOf(samples, options.rate);
        analysis.cumulative = CumulativeDecayOf(samples, options.rate, analysis.window);
    }
    return analysis;
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
