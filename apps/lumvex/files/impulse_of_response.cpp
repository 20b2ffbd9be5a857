#include "files/impulse_of_response.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>
#include <string>
#include <vector>

#include "acoustics/fft.hpp"

namespace lumvex::app {

namespace {

constexpr std::size_t kTransform = 4 * kImpulseLength;  // more than the result, so that its end does not run into it
constexpr double kDegree = std::numbers::pi / 180;
constexpr double kLowestBelowPeak = 200;  // dB: what is farther down counts as that

// Values at rising places, with straight lines between them and the first and last value beyond them.
class Curve {
public:
    void Add(double place, double value) {
        places_.push_back(place);
        values_.push_back(value);
    }

    double operator()(double place) const {
        const auto above = std::ranges::lower_bound(places_, place);
        if (above == places_.begin()) return values_.front();
        if (above == places_.end()) return values_.back();
        const auto at = static_cast<std::size_t>(above - places_.begin());
        const double part = (place - places_[at - 1]) / (places_[at] - places_[at - 1]);
        return values_[at - 1] + part * (values_[at] - values_[at - 1]);
    }

private:
    std::vector<double> places_, values_;
};

Curve LevelsOf(const MeasurementFile& response) {
    const std::span<const float> frequencies = std::span(response.values).first(response.rows);
    const std::span<const float> levels = std::span(response.values).subspan(response.rows, response.rows);
    const double lowest = static_cast<double>(*std::ranges::max_element(levels)) - kLowestBelowPeak;
    Curve curve;
    for (std::size_t row = 0; row < response.rows; ++row)
        curve.Add(std::log(static_cast<double>(frequencies[row])), std::max(lowest, static_cast<double>(levels[row])));
    return curve;
}

// In radians and without jumps of whole turns. A delay may turn the phase by more than half a turn from one frequency
// to the next, where they are far apart: each is expected where the delay of the octave below would have it.
std::vector<double> Unwrapped(std::span<const float> frequencies, std::span<const float> phases) {
    std::vector<double> unwrapped{static_cast<double>(phases[0]) * kDegree};
    std::size_t below = 0;  // the first row within an octave
    for (std::size_t row = 1; row < phases.size(); ++row) {
        const auto at = [&](std::size_t each) { return static_cast<double>(frequencies[each]); };
        while (2 * at(below) < at(row - 1)) ++below;
        const double slope = below < row - 1 ? (unwrapped[row - 1] - unwrapped[below]) / (at(row - 1) - at(below)) : 0;
        const double expected = unwrapped[row - 1] + slope * (at(row) - at(row - 1));
        const double value = static_cast<double>(phases[row]) * kDegree;
        unwrapped.push_back(expected + std::remainder(value - expected, 2 * std::numbers::pi));
    }
    return unwrapped;
}

// In radians, from 0 Hz to the highest frequency.
Curve PhasesOf(const MeasurementFile& response, double highest) {
    const std::span<const float> frequencies = std::span(response.values).first(response.rows);
    const std::vector<double> unwrapped = Unwrapped(frequencies, std::span(response.values).subspan(2 * response.rows));
    Curve curve;
    curve.Add(0, std::round(unwrapped.front() / std::numbers::pi) * std::numbers::pi);
    for (std::size_t row = 0; row < response.rows; ++row)
        curve.Add(static_cast<double>(frequencies[row]), unwrapped[row]);
    const auto last = static_cast<double>(frequencies.back());
    if (last >= highest) return curve;
    const double slope = response.rows > 1 ? (unwrapped.back() - curve(last / 2)) / (last / 2) : 0;
    curve.Add(highest, unwrapped.back() + slope * (highest - last));
    return curve;
}

// The spectrum of minimum phase for these natural logarithms of its magnitude: its cepstrum has no negative times.
std::vector<acoustics::Complex> MinimumPhase(const std::vector<double>& logarithms) {
    const std::vector<acoustics::Complex> real(logarithms.begin(), logarithms.end());
    std::vector<double> cepstrum = acoustics::SamplesOf(real, kTransform);
    for (std::size_t at = 1; at < kTransform / 2; ++at) cepstrum[at] *= 2;
    std::fill(cepstrum.begin() + kTransform / 2 + 1, cepstrum.end(), 0.0);
    std::vector<acoustics::Complex> spectrum = acoustics::Spectrum(cepstrum, kTransform);
    for (acoustics::Complex& each : spectrum) each = std::exp(each);
    return spectrum;
}

void CheckFrequencies(const std::filesystem::path& path, const MeasurementFile& response, std::int32_t sampleRate) {
    float before = 0;
    for (const float frequency : std::span(response.values).first(response.rows)) {
        if (!(frequency > before)) throw FileError(path, "an impulse response takes frequencies above 0 that rise");
        before = frequency;
    }
    if (static_cast<double>(response.values[0]) < sampleRate / 2.0) return;
    throw FileError(path, 0, "frequencies below half of the sample rate", std::to_string(response.values[0]) + " Hz");
}

}  // namespace

MeasurementFile ImpulseOf(const std::filesystem::path& path, const MeasurementFile& response, std::int32_t sampleRate) {
    CheckFrequencies(path, response, sampleRate);
    const Curve levels = LevelsOf(response);
    const double step = static_cast<double>(sampleRate) / kTransform;
    std::vector<double> logarithms(kTransform / 2 + 1);
    for (std::size_t at = 0; at < logarithms.size(); ++at) {
        const double frequency = step * static_cast<double>(std::max<std::size_t>(at, 1));
        logarithms[at] = levels(std::log(frequency)) / 20 * std::numbers::ln10;
    }
    const bool hasPhase = response.columns > 2;
    const std::size_t before = hasPhase ? kImpulseLength / 8 : 0;  // samples in front of time zero
    std::vector<acoustics::Complex> spectrum;
    if (hasPhase) {
        const Curve phases = PhasesOf(response, sampleRate / 2.0);
        for (std::size_t at = 0; at < logarithms.size(); ++at) {
            const double shift = 2 * std::numbers::pi * static_cast<double>(at * before % kTransform) / kTransform;
            const double phase = phases(step * static_cast<double>(at)) - shift;
            spectrum.push_back(std::polar(std::exp(logarithms[at]), phase));
        }
        spectrum.back() = spectrum.back().real();
    } else {
        spectrum = MinimumPhase(logarithms);
    }
    const std::vector<double> samples = acoustics::SamplesOf(spectrum, kTransform);

    MeasurementFile impulse = response;
    impulse.kind = MeasurementFile::Kind::Impulse;
    impulse.sampleRate = sampleRate;
    impulse.rows = kImpulseLength;
    impulse.columns = 1;
    impulse.header.clear();
    if (hasPhase) impulse.startTime = -static_cast<double>(before) / sampleRate;
    impulse.values.resize(kImpulseLength);
    for (std::size_t at = 0; at < kImpulseLength; ++at) impulse.values[at] = static_cast<float>(samples[at]);
    impulse.notes.push_back(std::string("made an impulse response of ") +
                            (hasPhase ? "levels and phases" : "levels, of minimum phase"));
    return impulse;
}

}  // namespace lumvex::app
