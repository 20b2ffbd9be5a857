#include "acoustics/energy_decay.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "acoustics/spectrum.hpp"
#include "acoustics/window.hpp"

namespace lumvex::acoustics {

namespace {

constexpr std::size_t kLeastSamples = 64;
constexpr std::size_t kBlocks = 200;       // in which the power is averaged to find the noise
constexpr std::size_t kCurvePoints = 600;  // at most
constexpr std::size_t kBandPoints = 150;   // at most, of the curve of an octave band
constexpr double kIndependent = 8;         // values in a block that tell a mean power from chance
constexpr double kRingingTime = 0.1;       // s that are kept free for the bands' filters
constexpr double kLeastTime = 8;           // of a reverberation time, times the width of its band
constexpr double kAboveNoise = 5;          // dB: nearer to the noise a decay is not told from it
constexpr double kDistanceFromNoise = 10;  // dB below the lowest level that a reverberation time uses

struct Line {
    double slope = 0, start = 0;
    bool isDefined = false;
};

// The line of least squares through the points whose level is within the limits, from the first such to the last before
// the level leaves them.
Line LineThrough(std::span<const double> times, std::span<const double> levels, double highest, double lowest) {
    double count = 0, t = 0, tt = 0, l = 0, tl = 0;
    for (std::size_t k = 0; k < times.size(); ++k) {
        if (levels[k] > highest) continue;
        if (levels[k] < lowest) break;
        ++count;
        t += times[k];
        tt += times[k] * times[k];
        l += levels[k];
        tl += times[k] * levels[k];
    }
    const double spread = count * tt - t * t;
    if (count < 3 || spread <= 0) return {};
    const double slope = (count * tl - t * l) / spread;
    return {slope, (l - slope * t) / count, true};
}

// Seconds for 60 dB.
std::optional<double> TimeFrom(const EnergyDecay& decay, double highest, double lowest) {
    const bool isReached = !decay.levels.empty() && decay.levels.back() <= lowest;
    if (!isReached || decay.noise.value_or(-1000) > lowest - kDistanceFromNoise) return std::nullopt;
    const Line line = LineThrough(decay.times, decay.levels, highest, lowest);
    return line.isDefined && line.slope < 0 ? std::optional(-60 / line.slope / 1000) : std::nullopt;
}

// Of powers, `rate` of them in a second, of which `width` Hz are independent; the curve has at most `points`.
EnergyDecay DecayOf(std::span<const double> powers, double rate, double width, std::size_t points) {
    const auto peak = static_cast<std::size_t>(std::ranges::max_element(powers) - powers.begin());
    const std::span<const double> tail = powers.subspan(peak);

    // Mean power in blocks, and the noise as that of the last tenth of them.
    const auto length = std::max<std::size_t>(
        {1, tail.size() / kBlocks, static_cast<std::size_t>(std::ceil(kIndependent * rate / width))});
    std::vector<double> times, levels;
    for (std::size_t first = 0; first + length <= tail.size(); first += length) {
        double power = 0;
        for (const double each : tail.subspan(first, length)) power += each;
        times.push_back((static_cast<double>(first) + static_cast<double>(length) / 2) / rate * 1000);
        levels.push_back(PowerDecibels(power / static_cast<double>(length)));
    }
    if (levels.empty()) return {};
    const std::size_t quiet = std::max<std::size_t>(1, levels.size() / 10);
    double noise = 0;
    for (std::size_t k = levels.size() - quiet; k < levels.size(); ++k) noise += std::pow(10, levels[k] / 10);
    const double noiseLevel = PowerDecibels(noise / static_cast<double>(quiet));
    const double loudest = *std::ranges::max_element(levels);

    // A response that is still falling as fast at its end as before has not come down to any noise: all of it counts.
    const Line whole = LineThrough(times, levels, loudest - 5, noiseLevel + kDistanceFromNoise);
    const std::span<const double> lastTimes = std::span(times).last(quiet), lastLevels = std::span(levels).last(quiet);
    const Line last = LineThrough(lastTimes, lastLevels, 1e9, -1e9);
    const bool isCut = whole.isDefined && last.isDefined && last.slope < whole.slope / 2;
    std::size_t end = tail.size();
    double noisePower = 0;
    if (!isCut) {
        const auto above = std::ranges::find_if(levels, [&](double level) { return level < noiseLevel + kAboveNoise; });
        end = std::max<std::size_t>(length, static_cast<std::size_t>(above - levels.begin()) * length);
        noisePower = std::pow(10, noiseLevel / 10);
    }

    // What an exponential decay of the same rate would bring behind the end.
    double rest = 0;
    if (whole.isDefined && whole.slope < 0) {
        const double level = whole.start + whole.slope * (static_cast<double>(end) / rate * 1000);
        rest = std::pow(10, level / 10) * rate / (-whole.slope * 1000 * std::log(10) / 10);
    }

    EnergyDecay decay;
    if (!isCut) decay.noise = noiseLevel - loudest;
    decay.end = static_cast<double>(peak + end) / rate * 1000;
    std::vector<double> energies(end + 1);
    energies[end] = rest;
    for (std::size_t n = end; n-- > 0;) energies[n] = energies[n + 1] + std::max(0.0, tail[n] - noisePower);
    if (energies[0] <= 0) return {};
    const std::size_t step = std::max<std::size_t>(1, (end + points - 1) / points);
    for (std::size_t n = 0; n < end; n += step) {
        decay.times.push_back(static_cast<double>(peak + n) / rate * 1000);
        decay.levels.push_back(PowerDecibels(energies[n] / energies[0]));
    }
    decay.early = TimeFrom(decay, 0, -10);
    decay.t20 = TimeFrom(decay, -5, -25);
    decay.t30 = TimeFrom(decay, -5, -35);
    return decay;
}

// A size that transforms are fast for: a power of two, or five or six eighths of one.
std::size_t FastSizeFrom(std::size_t count) {
    const std::size_t whole = PowerOfTwoFrom(count);
    for (const std::size_t eighths : {5u, 6u})
        if (whole >= 16 && whole / 8 * eighths >= count) return whole / 8 * eighths;
    return whole;
}

// What the filter of an octave band does to an amplitude.
double BandFilter(double frequency, double centre) {
    const double flank = 2 * std::abs(std::log2(frequency / centre)) - 0.5;  // 0 where it begins, 1 where it ends
    return flank <= 0 ? 1 : flank >= 1 ? 0 : std::cos(std::numbers::pi / 2 * flank);
}

// Is there enough to look at from the greatest sample on?
bool IsDecay(std::span<const float> samples) {
    const std::size_t peak = PeakOf(samples);
    return samples.size() - peak >= kLeastSamples && samples[peak] != 0;
}

}  // namespace

EnergyDecay EnergyDecayOf(std::span<const float> samples, double rate) {
    if (!IsDecay(samples)) return {};
    std::vector<double> powers(samples.size());
    std::ranges::transform(samples, powers.begin(), [](float sample) { return double{sample} * sample; });
    return DecayOf(powers, rate, rate / 2, kCurvePoints);
}

std::vector<BandDecay> OctaveBandDecays(std::span<const float> samples, double rate) {
    if (!IsDecay(samples)) return {};
    // Behind the samples there is room for what the filters ring before the first of them.
    const std::size_t size =
        FastSizeFrom(samples.size() + static_cast<std::size_t>(std::min(kRingingTime * rate, 1e5)));
    const std::vector<Complex> spectrum = Spectrum(std::vector<double>(samples.begin(), samples.end()), size);
    const double distance = rate / static_cast<double>(size);
    std::vector<BandDecay> bands;
    for (const double centre : kOctaveBands) {
        const double lowest = centre * std::exp2(-0.75), highest = centre * std::exp2(0.75);
        const auto first = static_cast<std::size_t>(std::ceil(lowest / distance));
        const auto last = static_cast<std::size_t>(highest / distance);
        if (last >= spectrum.size() || last <= first) continue;
        // The band, moved down to 0 Hz: the squares of what comes back are the band's envelope, at a lower rate.
        const std::size_t count = PowerOfTwoFrom(last - first + 1);
        std::vector<Complex> band(count);
        for (std::size_t k = first; k <= last; ++k)
            band[k - first] = spectrum[k] * BandFilter(static_cast<double>(k) * distance, centre);
        const std::vector<Complex> envelope = InverseOf(band);
        const double envelopeRate = distance * static_cast<double>(count);
        const auto length = static_cast<std::size_t>(static_cast<double>(samples.size()) / rate * envelopeRate);
        std::vector<double> powers(std::min(length, count));
        std::ranges::transform(std::span(envelope).first(powers.size()), powers.begin(),
                               [](const Complex& value) { return std::norm(value); });
        const double width = centre / std::numbers::sqrt2;
        if (powers.size() < 2 * static_cast<std::size_t>(kIndependent * envelopeRate / width)) continue;
        BandDecay found{centre, DecayOf(powers, envelopeRate, width, kBandPoints)};
        for (std::optional<double>* time : {&found.decay.early, &found.decay.t20, &found.decay.t30})
            if (time->value_or(0) * width < kLeastTime) time->reset();
        bands.push_back(std::move(found));
    }
    return bands;
}

}  // namespace lumvex::acoustics
