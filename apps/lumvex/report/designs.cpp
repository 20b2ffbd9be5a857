// What is designed: corrections with their limits, crossovers and predicted sum, crossover designs, processor profiles.
#include <algorithm>
#include <cmath>
#include <numbers>

#include "acoustics/filters.hpp"
#include "documents/document.hpp"
#include "objects/properties.hpp"
#include "report/columns.hpp"
#include "report/traces.hpp"

namespace lumvex::app {

namespace {

using acoustics::Bell;
using acoustics::Corner;
using acoustics::FilterKind;
using acoustics::FilterShape;

constexpr SHORT kStages = 6;
constexpr double kMostGain = 200;  // dB, of an equaliser band that is drawn
constexpr std::size_t kMostBandsShown = 6;

// All bells one after the other.
acoustics::Complex ResponseOf(const std::vector<Bell>& bells, double frequency) {
    acoustics::Complex response = 1;
    for (const Bell& bell : bells) response *= acoustics::ResponseOf(bell, frequency);
    return response;
}

FilterShape FilterShapeOf(LXXover method) {
    switch (method) {
        case LX_LINEAR_PHASE:
            return FilterShape::LinearPhase;
        case LX_LINKWITZ_RILEY:
            return FilterShape::LinkwitzRiley;
        case LX_BUTTERWORTH:
            return FilterShape::Butterworth;
        default:
            return FilterShape::None;
    }
}

const char* ShapeName(FilterShape shape) {
    switch (shape) {
        case FilterShape::LinearPhase:
            return "linear phase";
        case FilterShape::LinkwitzRiley:
            return "Linkwitz-Riley";
        case FilterShape::Butterworth:
            return "Butterworth";
        default:
            return "no shape";
    }
}

std::string CornerText(const Corner& corner) {
    return NumberText(corner.frequency) + " Hz, " + NumberText(corner.slope) + " dB/oct, " + ShapeName(corner.shape);
}

constexpr const char* kPrototypes =
    "Analogue prototypes: the order is the slope divided by 6 dB/oct; Linkwitz-Riley is two Butterworth filters of "
    "half the "
    "order, linear phase has its magnitude without its phase.";

std::vector<Corner> CornersOf(const Array& table, LXXover method, std::vector<std::string>& notes) {
    std::vector<Corner> corners;
    if (table.Empty()) return corners;
    if (table.Rows() != LX_XOVERSIZE) {
        notes.push_back("The crossover table is not 2 x n, and not drawn.");
        return corners;
    }
    for (std::size_t entry = 0; entry < table.Columns(); ++entry)
        corners.push_back({table(LX_XOVERFREQ, entry), table(LX_XOVERSLOPE, entry), FilterShapeOf(method)});
    return corners;
}

// The ways of a crossover, and their sum.
void AddWays(const std::vector<Corner>& corners, bool isShown, Drawable& drawable) {
    if (corners.empty()) return;
    std::string text;
    for (const Corner& corner : corners) text += (text.empty() ? "" : "; ") + CornerText(corner);
    for (std::size_t way = 0; way <= corners.size() + 1; ++way) {
        const bool isSum = way > corners.size();
        const auto response = [&](double frequency) {
            const std::vector<acoustics::Complex> ways = acoustics::WaysOf(corners, frequency);
            acoustics::Complex sum = 0;
            for (const acoustics::Complex& each : ways) sum += each;
            return isSum ? sum : ways[way];
        };
        drawable.traces.push_back(
            {.label = isSum ? "sum of the crossover's ways" : "crossover, way " + std::to_string(way + 1),
             .role = Role::Intended,
             .isShown = isShown,
             .data = ComputedResponse(response),
             .method = {"Crossover " + text + ".", kPrototypes}});
    }
}

void AddLimits(const Array& table, Drawable& drawable) {
    if (table.Empty()) return;
    if (table.Rows() != LX_LIMITSIZE) {
        drawable.notes.push_back("The limit table is not 5 x n, and not drawn.");
        return;
    }
    std::vector<std::size_t> order;
    for (std::size_t entry = 0; entry < table.Columns(); ++entry)
        if (table(LX_LIMITFREQ, entry) > 0) order.push_back(entry);
    std::ranges::sort(order, {}, [&](std::size_t entry) { return table(LX_LIMITFREQ, entry); });
    TextTable shown{.title = "Limits", .columns = {"Frequency (Hz)", "Alpha", "Maximum (dB)", "Minimum (dB)", "Type"}};
    for (const LXArrayIndex which : {LX_LIMITMAX, LX_LIMITMIN}) {
        ResponseTrace trace;
        for (const std::size_t entry : order) {
            trace.frequencies.push_back(table(LX_LIMITFREQ, entry));
            trace.levels.push_back(table(which, entry));
        }
        drawable.traces.push_back(
            {.label = which == LX_LIMITMAX ? "upper limit" : "lower limit",
             .role = Role::Limit,
             .data = std::move(trace),
             .method = {"The table's frequencies, joined by lines; alpha and type are not drawn."}});
    }
    for (const std::size_t entry : order) {
        std::vector<std::string> row;
        for (std::size_t value = 0; value < LX_LIMITSIZE; ++value) row.push_back(NumberText(table(value, entry)));
        shown.rows.push_back(std::move(row));
    }
    drawable.tables.push_back(std::move(shown));
}

// The bands of an equaliser table and, of several, what they do together.
std::vector<Bell> AddEqualiser(const Array& table, Drawable& drawable) {
    std::vector<Bell> bells;
    if (table.Empty()) return bells;
    if (table.Rows() != LX_EQSIZE) {
        drawable.notes.emplace_back("The equaliser table is not 3 x n, and not drawn.");
        return bells;
    }
    const std::string method =
        "Equaliser bands: analogue prototypes of bells, alpha being taken as half of the reciprocal of Q; the table "
        "does "
        "not say what else it may mean.";
    TextTable shown{.title = "Equaliser", .columns = {"Band", "Frequency (Hz)", "Alpha", "Q", "Gain (dB)"}};
    for (std::size_t band = 0; band < table.Columns(); ++band) {
        const Bell bell{table(LX_EQFREQ, band), table(LX_EQALPHA, band), table(LX_EQGAIN, band)};
        const bool isFinite = std::isfinite(bell.frequency) && std::isfinite(bell.alpha) && std::isfinite(bell.gain);
        shown.rows.push_back({std::to_string(band + 1), NumberText(bell.frequency), NumberText(bell.alpha),
                              bell.alpha > 0 ? NumberText(0.5 / bell.alpha, 3) : "", NumberText(bell.gain)});
        if (isFinite && std::abs(bell.gain) <= kMostGain) bells.push_back(bell);
    }
    drawable.tables.push_back(std::move(shown));
    if (bells.size() < table.Columns())
        drawable.notes.emplace_back(
            "Equaliser bands with numbers that are none, or gains beyond 200 dB, are not drawn.");
    if (bells.empty()) return bells;
    drawable.traces.push_back({.label = "equaliser",
                               .role = Role::Filter,
                               .data = ComputedResponse([&](double frequency) { return ResponseOf(bells, frequency); }),
                               .method = {"All bands of the equaliser together.", method}});
    for (const Bell& bell : bells)
        drawable.traces.push_back(
            {.label = "equaliser band, " + NumberText(bell.frequency) + " Hz, " + NumberText(bell.gain) + " dB",
             .role = Role::Filter,
             .isShown = bells.size() > 1 && bells.size() <= kMostBandsShown,
             .data = ComputedResponse([&](double frequency) { return acoustics::ResponseOf(bell, frequency); }),
             .method = {method}});
    return bells;
}

// Adds the samples, the shorter ones as if zeros followed.
void AddSamples(std::vector<float>& sum, std::span<const float> samples) {
    sum.resize(std::max(sum.size(), samples.size()));
    for (std::size_t n = 0; n < samples.size(); ++n) sum[n] += samples[n];
}

const ImpulseTrace& ImpulseOf(const Trace& trace) { return std::get<ImpulseTrace>(trace.data); }

bool AreImpulses(const std::vector<Trace>& traces) {
    return std::ranges::all_of(traces,
                               [](const Trace& each) { return std::holds_alternative<ImpulseTrace>(each.data); });
}

// What the outputs of a measurement give together when each plays its way of the crossover.
void AddSumOfWays(const std::vector<Trace>& measured, const std::vector<Corner>& corners, const std::string& name,
                  Drawable& drawable) {
    if (corners.empty() || !AreImpulses(measured) || measured.size() != corners.size() + 1) return;
    ImpulseTrace sum = ImpulseOf(measured[0]);
    sum.samples.clear();
    for (std::size_t way = 0; way < measured.size(); ++way) {
        const ImpulseTrace& output = ImpulseOf(measured[way]);
        AddSamples(sum.samples, Filtered(output.samples, output.options.rate,
                                         [&](double frequency) { return acoustics::WaysOf(corners, frequency)[way]; }));
    }
    const bool isShown = !sum.isPressure;  // else it is far from the crossover's own curves
    drawable.traces.push_back(
        {.label = name + " through the ways, predicted sum",
         .role = Role::Corrected,
         .isShown = isShown,
         .data = std::move(sum),
         .method = {"Each output of the measurement, times its way of the crossover and the link's "
                    "scale, and all added; without corrections.",
                    kPrototypes}});
}

// What measurement and filter are before and after correction: each output, and the sum of all.
void AddPrediction(const std::vector<Trace>& measured, const std::vector<Trace>& filters, double scale,
                   Drawable& drawable) {
    if (measured.empty() || filters.empty()) return;
    if (!AreImpulses(measured) || ImpulseOf(measured[0]).options.rate != ImpulseOf(filters[0]).options.rate ||
        measured.size() != filters.size()) {
        drawable.notes.push_back(
            "No sum is predicted: measurement and filter are not both impulse responses of the same sample rate and "
            "number "
            "of outputs.");
        return;
    }
    std::vector<float> before, after;
    ImpulseTrace whole = ImpulseOf(measured[0]);
    const double filterMs = 1000 * static_cast<double>(ImpulseOf(filters[0]).samples.size()) / whole.options.rate;
    whole.options.hasDecay = false;
    ImpulseTrace corrected = whole;
    corrected.options.scale *= scale;
    const bool hasWindow = whole.options.endMs > whole.options.startMs;
    if (hasWindow) corrected.options.endMs += filterMs;
    for (std::size_t output = 0; output < measured.size(); ++output) {
        AddSamples(before, ImpulseOf(measured[output]).samples);
        corrected.samples = Convolved(ImpulseOf(measured[output]).samples, ImpulseOf(filters[output]).samples);
        AddSamples(after, corrected.samples);
        if (measured.size() == 1) break;
        drawable.traces.push_back({.label = "after correction, output " + std::to_string(output + 1),
                                   .role = Role::Corrected,
                                   .isShown = false,
                                   .data = corrected,
                                   .method = {"Measurement convolved with the filter of its output."}});
    }
    const std::string window = hasWindow ? " The window ends later by the filter's length." : "";
    whole.samples = std::move(before);
    corrected.samples = std::move(after);
    drawable.traces.push_back({.label = "before correction",
                               .role = Role::Sum,
                               .data = std::move(whole),
                               .method = {"The measurement; of several outputs the sum of their samples."}});
    drawable.traces.push_back(
        {.label = "after correction, predicted",
         .role = Role::Corrected,
         .data = std::move(corrected),
         .method = {"Each output of the measurement convolved with its filter, and the samples added; "
                    "times the correction's scale, " +
                    NumberText(scale) + "." + window}});
}

// The filter stages of an output position.
struct Stages {
    std::vector<acoustics::Stage> used;
    TextTable table{.title = "Filter stages",
                    .columns = {"Stage", "Kind", "Lower corner", "Upper corner", "In use", "Inverts"}};
};

Stages StagesOf(const BoxCfgSpkr& position) {
    Stages stages;
    for (SHORT index = 1; index <= kStages; ++index) {
        const Corner upper{position.FilterFrequencyHi(index), position.FilterSlopeHi(index),
                           FilterShapeOf(position.FilterMethodHi(index))};
        const Corner lower{position.FilterFrequencyLo(index), position.FilterSlopeLo(index),
                           FilterShapeOf(position.FilterMethodLo(index))};
        const LXSimpleFilterMode mode = position.FilterMode(index);
        const FilterKind kind = mode == LX_LFM_LOWPASS    ? FilterKind::LowPass
                                : mode == LX_LFM_BANDPASS ? FilterKind::BandPass
                                                          : FilterKind::HighPass;
        const acoustics::Stage stage{kind, upper, lower, position.FilterInvert(index) != 0};
        const bool isUsed = position.FilterEnable(index) != 0;
        stages.table.rows.push_back({std::to_string(index),
                                     kind == FilterKind::LowPass    ? "low-pass"
                                     : kind == FilterKind::BandPass ? "band-pass"
                                                                    : "high-pass",
                                     kind == FilterKind::LowPass ? "" : CornerText(lower),
                                     kind == FilterKind::HighPass ? "" : CornerText(upper), isUsed ? "yes" : "no",
                                     stage.inverts ? "yes" : "no"});
        if (isUsed) stages.used.push_back(stage);
    }
    return stages;
}

std::string StageText(const acoustics::Stage& stage) {
    std::string text;
    if (stage.kind != FilterKind::LowPass) text = "above " + CornerText(stage.lower);
    if (stage.kind != FilterKind::HighPass) text += (text.empty() ? "below " : "; below ") + CornerText(stage.upper);
    return text + (stage.inverts ? "; inverted" : "");
}

}  // namespace

void TraceSource::Add(const Correction& correction, Drawable& drawable) {
    std::vector<Trace> filters = ImpulsesOf(correction.Data(), correction.SampleRate(), "filter", Role::Filter);
    const Measurement source = correction.Measurement();
    Drawable measured;
    if (source) {
        Add(source, measured);
    } else {
        drawable.notes.emplace_back("The measurement that it was designed from is gone.");
    }
    for (Trace& trace : filters) std::get<ImpulseTrace>(trace.data).options.hasDecay = false;
    AddPrediction(measured.traces, filters, correction.CorrectionScale() > 0 ? correction.CorrectionScale() : 1,
                  drawable);
    std::ranges::move(filters, std::back_inserter(drawable.traces));
    for (Trace& trace : measured.traces) {
        if (auto* data = std::get_if<ImpulseTrace>(&trace.data)) data->options.hasDecay = false;
        trace.label = trace.label.empty() ? "measurement" : "measurement, " + trace.label;
        trace.isShown = false;
        drawable.traces.push_back(std::move(trace));
    }
    for (auto& [array, label] :
         {std::pair{correction.Data2(), "smoothed measurement"}, std::pair{correction.VerifyMeas(), "verification"}}) {
        for (Trace& trace : ImpulsesOf(array, correction.SampleRate(), label, Role::Measured)) {
            std::get<ImpulseTrace>(trace.data).options.hasDecay = false;
            trace.isShown = false;
            drawable.traces.push_back(std::move(trace));
        }
    }
    AddLimits(correction.LimitData(), drawable);
    AddWays(CornersOf(correction.CrossoverData(), correction.CrossoverMethod(), drawable.notes), false, drawable);
}

void TraceSource::Add(const SpkrEQDesign& design, Drawable& drawable) {
    const std::vector<Corner> corners = CornersOf(design.CrossoverData(), design.CrossoverMethod(), drawable.notes);
    AddWays(corners, true, drawable);
    AddLimits(design.LimitData(), drawable);
    for (const SpkrMeasureLink& link : design.SpkrMeasureLinks()) {
        const Measurement measurement = link.Measurement();
        if (!measurement) {
            drawable.notes.emplace_back("A measurement that it is linked to is gone.");
            continue;
        }
        Drawable measured;
        Add(measurement, measured);
        for (Trace& trace : measured.traces) {
            auto* data = std::get_if<ImpulseTrace>(&trace.data);
            if (!data) continue;
            data->options.scale *= link.Scale();
            data->options.hasDecay = false;
        }
        AddSumOfWays(measured.traces, corners, Shown(measurement.Name()), drawable);
        for (Trace& trace : measured.traces) {
            trace.label = Shown(measurement.Name()) + (trace.label.empty() ? "" : ", " + trace.label);
            trace.method.push_back("Scale of the link: " + NumberText(link.Scale()) + ".");
            trace.isShown = false;
            drawable.traces.push_back(std::move(trace));
        }
    }
}

void TraceSource::Add(const BoxCfgBank& profile, Drawable& drawable) {
    Drawable equaliser;
    const std::vector<Bell> bells = AddEqualiser(profile.EqualiserData(), equaliser);
    const std::string with = bells.empty() ? "" : ", with the profile's equaliser";
    for (const BoxCfgSpkr& position : profile.Spkrs()) {
        const std::string name = Shown(position.Name());
        if (position.Mode() == LX_FM_DISABLE) continue;
        Stages stages = StagesOf(position);
        if (position.Mode() == LX_FM_BYPASS) stages.used.clear();
        if (position.Mode() != LX_FM_CORRECTION) {
            const double gain = position.GaindB(), delay = position.DelayMs();
            std::string label = name;
            label += stages.used.empty() ? ", gain and delay" : ", all stages";
            label += with;
            drawable.traces.push_back(
                {.label = std::move(label),
                 .role = Role::Sum,
                 .data = ComputedResponse([&](double frequency) {
                     return ResponseOf(bells, frequency) * acoustics::ResponseOf(stages.used, gain, delay, frequency);
                 }),
                 .method = {"Gain " + NumberText(gain) + " dB, delay " + NumberText(delay) + " ms, " +
                                std::to_string(stages.used.size()) + " stages" + with + ".",
                            kPrototypes}});
            stages.table.title += " of " + name;
            if (!stages.used.empty()) drawable.tables.push_back(std::move(stages.table));
            continue;
        }
        Drawable played;
        Add(position, played);
        for (Trace& trace : played.traces) {
            if (!trace.isShown) continue;
            trace.label = name + ", " + trace.label;
            drawable.traces.push_back(std::move(trace));
        }
    }
    std::ranges::move(equaliser.traces, std::back_inserter(drawable.traces));
    std::ranges::move(equaliser.tables, std::back_inserter(drawable.tables));
    std::ranges::move(equaliser.notes, std::back_inserter(drawable.notes));
    for (auto& [array, label] :
         {std::pair{profile.Data(), "filter data"}, std::pair{profile.Data2(), "further filter data"}}) {
        for (Trace& trace : ImpulsesOf(array, profile.SampleRate(), label, Role::Filter)) {
            std::get<ImpulseTrace>(trace.data).options.hasDecay = false;
            drawable.traces.push_back(std::move(trace));
        }
    }
}

void TraceSource::Add(const BoxCfgSpkr& position, Drawable& drawable) {
    auto [all, table] = StagesOf(position);
    std::vector<acoustics::Stage> stages = std::move(all);
    drawable.tables.push_back(std::move(table));

    const double gain = position.GaindB(), delay = position.DelayMs();
    const std::string around = "With the position's gain of " + NumberText(gain) + " dB and its delay of " +
                               NumberText(delay) + " ms; trims of the processor's output channels are not part of it.";
    switch (position.Mode()) {
        case LX_FM_DISABLE:
            drawable.notes.emplace_back("The position plays nothing.");
            break;
        case LX_FM_CORRECTION: {
            const Correction correction = position.Correction();
            if (!correction) {
                drawable.notes.emplace_back("The correction that it plays is gone.");
                break;
            }
            for (Trace& trace : ImpulsesOf(correction.Data(), correction.SampleRate(),
                                           "plays " + Shown(correction.Name()), Role::Filter)) {
                auto& data = std::get<ImpulseTrace>(trace.data);
                const double zeros = std::clamp(std::round(delay / 1000 * data.options.rate), 0.0, 1e6);
                data.samples.insert(data.samples.begin(), static_cast<std::size_t>(zeros), 0.0f);
                data.options.scale = std::pow(10, gain / 20);
                data.options.hasDecay = false;
                trace.method.push_back("The correction's filter. " + around);
                drawable.traces.push_back(std::move(trace));
            }
            break;
        }
        default: {
            if (position.Mode() == LX_FM_BYPASS) stages.clear();
            drawable.traces.push_back(
                {.label = stages.empty() ? "gain and delay" : "all stages",
                 .role = Role::Sum,
                 .data = ComputedResponse(
                     [&](double frequency) { return acoustics::ResponseOf(stages, gain, delay, frequency); }),
                 .method = {around, kPrototypes, "The stages' Q is not used: their shapes fix it."}});
            for (const acoustics::Stage& stage : stages)
                drawable.traces.push_back({.label = "stage " + StageText(stage),
                                           .role = Role::Filter,
                                           .data = ComputedResponse([&](double frequency) {
                                               return acoustics::ResponseOf(stage, frequency);
                                           }),
                                           .method = {kPrototypes}});
        }
    }
    for (auto& [array, label] :
         {std::pair{position.Data(), "filter data"}, std::pair{position.Data2(), "further filter data"}}) {
        const BoxCfgBank bank = position.Parent().Parent();
        for (Trace& trace : ImpulsesOf(array, bank.SampleRate(), label, Role::Filter)) {
            std::get<ImpulseTrace>(trace.data).options.hasDecay = false;
            trace.isShown = false;
            drawable.traces.push_back(std::move(trace));
        }
    }
}

void TraceSource::Add(const RoomEQ& room, Drawable& drawable) { AddEqualiser(room.EqualiserData(), drawable); }

}  // namespace lumvex::app
