#include "report/curves.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "report/columns.hpp"
#include "report/packed.hpp"

namespace lumvex::app {

namespace {

constexpr double kReferencePressure = 20e-6;  // Pa
constexpr double kLevelStep = 0.01;           // dB
constexpr double kExactStep = 0.02;           // dB, of the transform's own values
constexpr double kDelayStep = 0.01;           // ms
constexpr double kPhaseStep = 0.4;            // degrees
constexpr double kCoarseStep = 1;             // dB, of the cumulative decay
constexpr double kLowestShown = -60;          // dB, of the cumulative decay
constexpr double kBandStep = 0.1;             // dB, of the decay in octave bands
constexpr double kPeakSteps = 32767;          // of samples in the greatest one
constexpr double kCoarsestPeakSteps = 1024;   // the same where they end in loud noise

std::string MsText(double ms) { return NumberText(ms, 5) + " ms"; }

std::string WindowText(const acoustics::Window& window, double rate, std::size_t count) {
    const auto at = [&](std::size_t samples) { return MsText(1000 * static_cast<double>(samples) / rate); };
    if (window.isWhole)
        return "Analysed is the whole response, " + std::to_string(count) + " samples, without a window.";
    return "Analysis window from " + at(window.first) + " to " + at(window.last) + ", fading in over " +
           at(window.fadeIn) + " and out over " + at(window.fadeOut) + " (half a Hann window each).";
}

void AddTime(ComputedTrace& computed, const char* name, const std::optional<double>& seconds) {
    computed.results.emplace_back(name, seconds
                                            ? NumberText(*seconds, 3) + " s"
                                            : "not measurable: the decay does not reach far enough above the noise");
}

// The greatest power of two, up to 1, of which all samples are whole multiples, as those of sound files are: 2^-15 of
// 16 bits.
double WholeStep(std::span<const float> samples) {
    constexpr int kMantissaBits = 23, kBias = 127 + kMantissaBits;
    int lowest = 0;
    for (const float sample : samples) {
        const auto bits = std::bit_cast<std::uint32_t>(sample);
        const int exponent = static_cast<int>(bits >> kMantissaBits & 0xFF);
        const std::uint32_t mantissa = (bits & 0x7FFFFF) | (exponent > 0 ? 0x800000 : 0);
        if (mantissa != 0) lowest = std::min(lowest, std::max(exponent, 1) - kBias + std::countr_zero(mantissa));
    }
    return std::ldexp(1.0, lowest);
}

// What the samples end in: the mean square root of the last tenth of them. Where that is still falling it is no noise,
// and what may be below it has to be kept.
double NoiseOf(std::span<const float> samples) {
    constexpr double kFalling = 0.9;
    const std::size_t tenth = samples.size() / 10;
    if (tenth == 0) return 0;
    const auto effective = [](std::span<const float> part) {
        double power = 0;
        for (const float sample : part) power += double{sample} * sample;
        return std::sqrt(power / static_cast<double>(part.size()));
    };
    const double last = effective(samples.last(tenth)), before = effective(samples.last(2 * tenth).first(tenth));
    return last < kFalling * before ? 0 : last;
}

// Samples are rounded to the noise that they end in, which hides the difference, and never finer than their greatest
// allows; not at all where their own steps are as coarse.
void SetSampleStep(ComputedTrace& computed, std::span<const float> samples) {
    double greatest = 0;
    for (const float sample : samples) greatest = std::max(greatest, std::abs(double{sample}));
    const double noise = NoiseOf(samples);
    const double rounded = std::max(greatest / kPeakSteps, std::min(noise, greatest / kCoarsestPeakSteps));
    const double whole = WholeStep(samples);
    const bool areExact = whole >= rounded;
    computed.sampleStep = areExact ? whole : rounded;
    computed.method.push_back(
        areExact
            ? "The samples in this page are exact."
            : "The samples in this page are rounded to " + NumberText(rounded, 3) +
                  (rounded > greatest / kPeakSteps ? ", the noise that they end in" : ", 1/32767 of the greatest") +
                  ", so that their running sum is off by no more than half of that; all other curves were computed "
                  "before.");
}

// Of the bands that have any: centre; early decay time, T20 and T30 in s, null where they are not measurable.
nlohmann::ordered_json BandTimes(const std::vector<acoustics::BandDecay>& bands) {
    const auto rounded = [](const std::optional<double>& seconds) {
        return seconds ? nlohmann::ordered_json(std::round(*seconds * 1e4) / 1e4) : nlohmann::ordered_json(nullptr);
    };
    auto times = nlohmann::ordered_json::array();
    for (const auto& [centre, decay] : bands)
        times.push_back({centre, rounded(decay.early), rounded(decay.t20), rounded(decay.t30)});
    return times;
}

void PackCurves(const ComputedTrace& computed, const ImpulseTrace& data, Packed& packed) {
    const acoustics::Analysis& analysis = computed.analysis;
    const double rate = data.options.rate;
    auto& facts = packed.facts;
    facts["rate"] = rate;
    facts["count"] = data.samples.size();
    facts["arrival"] = analysis.arrival;
    facts["resolution"] = analysis.resolution;
    if (!analysis.window.isWhole)
        facts["window"] = {1000 * static_cast<double>(analysis.window.first) / rate,
                           1000 * static_cast<double>(analysis.window.last) / rate};
    facts["results"] = computed.results;
    facts["parts"] = {analysis.parts.first, analysis.parts.highest};
    facts["scale"] = {acoustics::FirstPoint(acoustics::kLowestAnalysed), analysis.frequencies.size()};
    if (!analysis.bands.empty()) facts["bands"] = BandTimes(analysis.bands);

    packed.AddCurve("exact.x", analysis.exact.x, rate / static_cast<double>(analysis.size));
    packed.AddCurve("exact.y", analysis.exact.y, kExactStep);
    packed.AddCurve("parts.levels", analysis.parts.levels, kLevelStep);
    packed.AddCurve("parts.delays", analysis.parts.delays, kDelayStep);
    packed.AddCurve("phase", analysis.phase, kPhaseStep);
    if (!analysis.decay.levels.empty()) {
        packed.AddEven("decay.x", analysis.decay.times);
        packed.AddCurve("decay.y", analysis.decay.levels, kLevelStep);
    }
    for (const auto& [centre, decay] : analysis.bands) {
        const std::string name = "decay." + NumberText(centre);
        packed.AddEven(name + ".x", decay.times);
        packed.AddCurve(name + ".y", decay.levels, kBandStep);
    }
    if (!analysis.cumulative.levels.empty()) {
        std::vector<double> levels(analysis.cumulative.levels.begin(), analysis.cumulative.levels.end());
        for (double& level : levels) level = std::max(level, kLowestShown);
        packed.AddCurve("cumulative.times", analysis.cumulative.times, 1000 / rate);
        facts["map"] = {analysis.cumulative.firstPoint, acoustics::kMapPoints, analysis.cumulative.frequencies.size()};
        packed.AddMap("cumulative.levels", levels, analysis.cumulative.frequencies.size(), kCoarseStep);
    }
    packed.AddSamples("samples", data.samples, computed.sampleStep);
}

void PackCurves(const ResponseTrace& data, Packed& packed) {
    packed.AddExact("response.x", data.frequencies);
    packed.AddExact("response.y", data.levels);
    if (!data.phases.empty()) packed.AddExact("response.phase", data.phases);
    if (!data.delays.empty()) packed.AddExact("response.delay", data.delays);
}

}  // namespace

const char* LevelUnit(const Trace& trace) {
    const auto* data = std::get_if<ImpulseTrace>(&trace.data);
    if (!data) return "dB";
    return data->isPressure ? "dB SPL" : "dB re full scale";
}

ComputedTrace Compute(const Trace& trace, const ImpulseTrace& data) {
    acoustics::AnalysisOptions options = data.options;
    if (data.isPressure) options.scale /= kReferencePressure;
    ComputedTrace computed{.analysis = Analyse(data.samples, options), .method = trace.method};
    const acoustics::Analysis& analysis = computed.analysis;
    auto& method = computed.method;
    method.push_back(WindowText(analysis.window, options.rate, data.samples.size()));
    method.push_back("Level, phase and group delay: Fourier transform of " + std::to_string(analysis.size) +
                     " values, " + NumberText(options.rate / static_cast<double>(analysis.size), 4) +
                     " Hz apart; what is finer than " + NumberText(analysis.resolution, 4) +
                     " Hz does not come from the response.");
    method.push_back(data.isPressure
                         ? "Level: magnitude times SPLScale " + NumberText(data.options.scale) + ", re 20 uPa."
                         : "Level: magnitude" +
                               (data.options.scale != 1 ? " times " + NumberText(data.options.scale) : std::string()) +
                               ", re full scale (SPLScale is 1 or does not apply).");
    method.emplace_back(
        "Smoothing: mean power over part of an octave, at 96 points per octave; without smoothing the transform's own "
        "values, "
        "of which those that no screen tells apart are left out, but never the highest and the lowest.");
    method.push_back(
        "Phase: its time is that of the first sample or, with the arrival taken out, " + MsText(analysis.arrival) +
        " later, at the greatest sample of the window. Group delay: from the first sample, weighted with the "
        "power over the smoothing's band (without smoothing over 1/48 octave).");
    if (!analysis.decay.levels.empty()) {
        const acoustics::EnergyDecay& decay = analysis.decay;
        method.push_back(
            "Energy decay: backward integral of the squared samples from the greatest one on, all frequencies, "
            "until " +
            MsText(decay.end) +
            (decay.noise ? ", where the response meets its noise (" + NumberText(-*decay.noise, 3) +
                               " dB below its loudest part), less that noise"
                         : ", the end") +
            ", and what an exponential decay would still bring.");
        AddTime(computed, "Early decay time", decay.early);
        AddTime(computed, "Reverberation time T20", decay.t20);
        AddTime(computed, "Reverberation time T30", decay.t30);
    }
    if (!analysis.cumulative.levels.empty())
        method.push_back(
            "Cumulative decay: spectra of what follows each moment after the greatest sample, fading in over " +
            MsText(analysis.cumulative.fade) + ", smoothed to 1/12 octave, resolution " +
            NumberText(analysis.cumulative.resolution, 4) + " Hz and coarser with time.");
    if (!analysis.bands.empty())
        method.emplace_back(
            "Octave bands: the same for what a filter without delay leaves of 1/4 octave around each band's centre, 3 "
            "dB "
            "down at its edges, nothing beyond 3/4; from the greatest power in the band on.");
    SetSampleStep(computed, data.samples);
    return computed;
}

std::string PackedTrace(const Trace& trace) {
    Packed packed;
    packed.facts["unit"] = LevelUnit(trace);
    if (const auto* data = std::get_if<ImpulseTrace>(&trace.data)) {
        const ComputedTrace computed = Compute(trace, *data);
        packed.facts["method"] = computed.method;
        PackCurves(computed, *data, packed);
    } else {
        packed.facts["method"] = trace.method;
        PackCurves(std::get<ResponseTrace>(trace.data), packed);
    }
    return packed.Text();
}

}  // namespace lumvex::app
