#include "report/curves.hpp"

#include <algorithm>
#include <cmath>

#include "report/columns.hpp"
#include "report/packed.hpp"

namespace lumvex::app {

namespace {

constexpr double kReferencePressure = 20e-6;  // Pa
constexpr double kLevelStep = 0.01;           // dB
constexpr double kDelayStep = 0.005;          // ms
constexpr double kPhaseStep = 0.2;            // degrees
constexpr double kCoarseStep = 1;             // dB, of the cumulative decay
constexpr double kLowestShown = -60;          // dB, of the cumulative decay
constexpr double kPeakSteps = 32767;          // of samples in the greatest one
constexpr double kNoiseSteps = 2;             // of samples in the noise that they end in

// Of the common scale's points every so many are kept: curves that are smoother need fewer.
int StrideOf(int smoothing) { return smoothing > 12 ? 1 : smoothing == 12 ? 2 : 4; }

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

double StepFor(std::span<const double> values) {
    double greatest = 0;
    for (const double value : values) greatest = std::max(greatest, std::abs(value));
    return greatest > 0 ? greatest / kPeakSteps : 1;
}

// The last point is always kept, so that the curve reaches as far as the others.
std::vector<double> EveryOf(std::span<const double> values, int stride) {
    std::vector<double> kept;
    for (std::size_t k = 0; k < values.size(); k += static_cast<std::size_t>(stride)) kept.push_back(values[k]);
    if (!values.empty() && (values.size() - 1) % static_cast<std::size_t>(stride) != 0) kept.push_back(values.back());
    return kept;
}

// Samples are rounded to a part of their noise, which hides the difference, and never finer than their greatest allows.
double SampleStep(std::span<const float> samples) {
    double greatest = 0, noise = 0;
    for (const float sample : samples) greatest = std::max(greatest, std::abs(double{sample}));
    const auto last = samples.last(samples.size() / 10);
    for (const float sample : last) noise += double{sample} * sample;
    if (!last.empty()) noise = std::sqrt(noise / static_cast<double>(last.size()));
    const double step = std::max(greatest / kPeakSteps, std::min(noise / kNoiseSteps, greatest / 1024));
    return step > 0 ? step : 1;
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
    const double firstPoint = std::log2(analysis.frequencies.front() / 1000) * acoustics::kPointsPerOctave;
    facts["scale"] = {std::lround(firstPoint), analysis.frequencies.size()};

    packed.AddCurve("exact.x", analysis.exact.x, rate / static_cast<double>(analysis.size));
    packed.AddCurve("exact.y", analysis.exact.y, kLevelStep);
    for (std::size_t each = 0; each < std::size(acoustics::kSmoothings); ++each) {
        const int smoothing = acoustics::kSmoothings[each];
        const std::string name = std::to_string(smoothing);
        packed.AddCurve("level." + name, EveryOf(analysis.levels[each], StrideOf(smoothing)), kLevelStep);
        packed.AddCurve("delay." + name, EveryOf(analysis.delays[each], StrideOf(smoothing)), kDelayStep);
    }
    packed.AddCurve("phase", analysis.phase, kPhaseStep);
    packed.AddCurve("step.x", analysis.step.x, 1000 / rate);
    packed.AddCurve("step.y", analysis.step.y, StepFor(analysis.step.y));
    if (!analysis.decay.levels.empty()) {
        packed.AddCurve("decay.x", analysis.decay.times, 1000 / rate);
        packed.AddCurve("decay.y", analysis.decay.levels, kLevelStep);
    }
    if (!analysis.cumulative.levels.empty()) {
        std::vector<double> levels(analysis.cumulative.levels.begin(), analysis.cumulative.levels.end());
        for (double& level : levels) level = std::max(level, kLowestShown);
        packed.AddCurve("cumulative.times", analysis.cumulative.times, 1000 / rate);
        packed.AddExact("cumulative.frequencies", analysis.cumulative.frequencies);
        packed.AddCurve("cumulative.levels", levels, kCoarseStep);
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
    computed.sampleStep = SampleStep(data.samples);
    method.push_back("The samples in this page are rounded to " + NumberText(computed.sampleStep, 3) +
                     ": half of what they end in, or 1/32767 of the greatest.");
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
