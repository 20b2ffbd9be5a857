#include "report/traces.hpp"

#include <algorithm>
#include <cmath>
#include <functional>

#include "documents/document.hpp"
#include "measurements/stored_files.hpp"
#include "report/columns.hpp"

namespace lumvex::app {

namespace {

void Append(Drawable& drawable, std::vector<Trace> traces) {
    std::ranges::move(traces, std::back_inserter(drawable.traces));
}

Trace AsItStands(const Array& array, const std::string& label = {}) {
    return {.label = label, .data = ResponseFrom(array), .method = {"Drawn as it is stored."}};
}

// Why a sample rate matters: what has none and no frequencies cannot be drawn.
constexpr const char* kNoFrequencies =
    "It holds levels without frequencies, and no named data of its name hold these levels: there is nothing to draw "
    "them "
    "against.";

// The curve that the tool keeps of a calibration: points of frequency, level and perhaps phase. Empty where it has
// none.
ResponseTrace CurveOf(const Microphone& microphone) {
    ResponseTrace curve;
    if (microphone.Data().Empty()) return curve;
    const Node item(microphone);
    const MeasurementFile file = FileFrom(item, *item.Type().Find("Data"));
    if (file.kind != MeasurementFile::Kind::Calibration && file.kind != MeasurementFile::Kind::Response) return curve;
    return ResponseFrom(Array::FromColumns(file.values, file.rows, file.columns));
}

// Levels to be added, as the microphone's method says; of a curve that says its frequencies, or of an impulse response.
std::optional<Calibration> CalibrationFrom(const Microphone& microphone) {
    Calibration calibration{.name = Shown(microphone.Name()),
                            .isInverse = microphone.CalibrationMethod() == LX_CAL_INVERSE};
    const Array array = microphone.Data();
    if (ResponseTrace curve = CurveOf(microphone); !curve.frequencies.empty()) {
        calibration.frequencies = std::move(curve.frequencies);
        calibration.levels = std::move(curve.levels);
    } else if (microphone.SampleRate() > 0) {
        for (const Trace& trace : ImpulsesOf(array, microphone.SampleRate(), "", Role::Measured)) {
            const auto& data = std::get<ImpulseTrace>(trace.data);
            const acoustics::Analysis analysis =
                acoustics::Analyse(data.samples, {.rate = data.options.rate, .hasDecay = false});
            calibration.frequencies = analysis.frequencies;
            calibration.levels = SmoothedFrom(analysis.parts, acoustics::kSmoothings[0]).levels;
            break;
        }
    }
    if (calibration.frequencies.empty()) return std::nullopt;
    for (double& level : calibration.levels) level *= calibration.isInverse ? -1 : 1;
    return calibration;
}

// Levels of the trace, all made of samples, are corrected.
void Apply(const Calibration& calibration, Trace& trace) {
    std::get<ImpulseTrace>(trace.data).options.calibration = [calibration](double frequency) {
        return std::pow(10, calibration.LevelAt(std::max(frequency, 1.0)) / 20);
    };
    if (calibration.isFile)
        trace.method.push_back("The response of the microphone in " + calibration.name + " is taken out of the level.");
}

bool IsSameColumn(const Array& left, std::size_t leftColumn, const Array& right, std::size_t rightColumn) {
    for (std::size_t row = 0; row < left.Rows(); ++row)
        if (left(row, leftColumn) != right(row, rightColumn)) return false;
    return true;
}

}  // namespace

const char* NameOf(Role role) {
    switch (role) {
        case Role::Measured:
            return "measured";
        case Role::Filter:
            return "filter";
        case Role::Sum:
            return "sum";
        case Role::Corrected:
            return "corrected";
        case Role::Intended:
            return "target";
        case Role::Limit:
            return "limit";
    }
    return "";
}

TraceSource::TraceSource(const Node& root, const std::optional<Calibration>& chosen) : root_(root), chosen_(chosen) {}

template <class Item>
bool TraceSource::AddAs(const Node& object, Drawable& drawable) {
    const Item item = object.As<Item>();
    if (item) Add(item, drawable);
    return static_cast<bool>(item);
}

Drawable TraceSource::Of(const Node& object) {
    Drawable drawable;
    AddAs<Measurement>(object, drawable) || AddAs<RoomMeasurement>(object, drawable) ||
        AddAs<Datum>(object, drawable) || AddAs<Correction>(object, drawable) ||
        AddAs<SpkrEQDesign>(object, drawable) || AddAs<RoomCorrection>(object, drawable) ||
        AddAs<BoxCfgSpkr>(object, drawable) || AddAs<BoxCfgBank>(object, drawable) ||
        AddAs<Microphone>(object, drawable) || AddAs<RoomEQ>(object, drawable);
    std::stable_partition(drawable.traces.begin(), drawable.traces.end(),
                          [](const Trace& each) { return each.isShown; });
    return drawable;
}

void TraceSource::Add(const Datum& datum, Drawable& drawable) {
    const Array array = datum.Data();
    if (IsResponse(array, datum.SampleRate())) {
        drawable.traces.push_back(AsItStands(array));
    } else if (datum.SampleRate() > 0) {
        Append(drawable, ImpulsesOf(array, datum.SampleRate(), "", Role::Measured));
    } else if (!array.Empty()) {
        drawable.notes.push_back("It is no frequency response, and has no sample rate: the numbers are not drawn.");
    }
}

// The first of the columns of levels may be in named data of the same name, which keep the frequencies as well.
void TraceSource::AddResponses(const Array& levels, std::u16string_view name, Drawable& drawable) {
    if (IsResponse(levels, 0)) {
        drawable.traces.push_back(AsItStands(levels));
        return;
    }
    const Project project = root_.As<Project>();
    const Datum datum = project ? project.Data().FindName(name).As<Datum>() : Datum();
    const Array array = datum ? datum.Data() : Array();
    bool isFound = false;
    if (IsResponse(array, 0) && array.Rows() == levels.Rows()) {
        for (std::size_t column = 0; column < levels.Columns(); ++column) {
            if (!IsSameColumn(levels, column, array, 1)) continue;
            Trace trace = AsItStands(array, ColumnLabel("", levels, column));
            trace.method = {"Drawn as it is stored; the frequencies are those of the named data " + Shown(name) + "."};
            drawable.traces.push_back(std::move(trace));
            isFound = true;
        }
    }
    if (!isFound && !levels.Empty()) drawable.notes.emplace_back(kNoFrequencies);
}

const Calibration* TraceSource::CalibrationOf(const Measurement& measurement, std::vector<std::string>& method) {
    if (chosen_) return &*chosen_;
    const Experiment experiment = measurement.Experiment();
    const std::u16string serial = experiment ? experiment.MicSerialNo() : std::u16string();
    if (serial.empty()) {
        method.emplace_back("No microphone is named: no calibration is applied.");
        return nullptr;
    }
    auto found = microphones_.find(serial);
    if (found == microphones_.end()) {
        found = microphones_.emplace(serial, std::nullopt).first;
        const Project project = root_.As<Project>();
        const Specifications library = project ? project.Specifications() : Specifications();
        const Microphone microphone = library ? library.Microphones().FindName(serial).As<Microphone>() : Microphone();
        if (microphone) found->second = CalibrationFrom(microphone);
    }
    if (!found->second) {
        method.push_back("The library has no calibration of the microphone " + Shown(serial) +
                         " that says its frequencies: none is applied (--calibration takes one from a file).");
        return nullptr;
    }
    method.push_back("The calibration curve of the microphone " + Shown(serial) +
                     (found->second->isInverse ? " is taken out of the level (its method is inverse)."
                                               : " is added to the level (its method is forward)."));
    return &*found->second;
}

void TraceSource::Add(const Measurement& measurement, Drawable& drawable) {
    const Array array = measurement.Data();
    if (measurement.SampleRate() <= 0 || IsResponse(array, measurement.SampleRate()))
        return AddResponses(array, measurement.Name(), drawable);
    std::vector<Trace> traces = ImpulsesOf(array, measurement.SampleRate(), "", Role::Measured);
    std::vector<std::string> method;
    const Calibration* calibration = traces.empty() ? nullptr : CalibrationOf(measurement, method);
    const float scale = measurement.SPLScale();
    for (Trace& trace : traces) {
        auto& data = std::get<ImpulseTrace>(trace.data);
        data.options.startMs = measurement.MeasureStart();
        data.options.endMs = measurement.MeasureEnd();
        data.isPressure = scale > 0 && scale != 1;
        if (data.isPressure) data.options.scale = scale;
        if (calibration) Apply(*calibration, trace);
        trace.method.insert(trace.method.end(), method.begin(), method.end());
    }
    Append(drawable, std::move(traces));
}

void TraceSource::Add(const RoomMeasurement& measurement, Drawable& drawable) {
    const Array array = measurement.Data();
    if (measurement.SampleRate() <= 0 || IsResponse(array, measurement.SampleRate()))
        return AddResponses(array, measurement.Name(), drawable);
    const RoomPosition position = measurement.Parent().Parent();
    const RoomEQ room = position.Parent().Parent();
    std::vector<Trace> traces = ImpulsesOf(array, measurement.SampleRate(), "", Role::Measured);
    for (Trace& trace : traces) {
        if (chosen_) Apply(*chosen_, trace);
        auto& data = std::get<ImpulseTrace>(trace.data);
        data.options.startMs = room.MeasureStart();
        data.options.endMs = room.MeasureEnd();
        if (position.Scale() > 0) data.options.scale = position.Scale();
        trace.method.push_back("Window of the room; level times the position's scale, " +
                               NumberText(data.options.scale) + ".");
    }
    Append(drawable, std::move(traces));
}

void TraceSource::Add(const Microphone& microphone, Drawable& drawable) {
    if (ResponseTrace curve = CurveOf(microphone); !curve.frequencies.empty()) {
        drawable.traces.push_back({.data = std::move(curve), .method = {"The calibration curve as it is stored."}});
    } else if (microphone.SampleRate() > 0) {
        Append(drawable, ImpulsesOf(microphone.Data(), microphone.SampleRate(), "", Role::Measured));
    } else if (!microphone.Data().Empty()) {
        drawable.notes.emplace_back("Its curve does not say its frequencies, and is not drawn.");
    }
}

void TraceSource::Add(const RoomCorrection& correction, Drawable& drawable) {
    // A room correction has no sample rate of its own.
    const RoomEQ room = correction.Parent().Parent().Parent().Parent();
    double rate = 0;
    for (const RoomPosition& position : room.Positions())
        if (rate <= 0 && position.Measurements().Count() > 0) rate = position.SampleRate();
    std::vector<Trace> traces = ImpulsesOf(correction.Data(), rate, "filter", Role::Filter);
    for (Trace& trace : traces)
        if (rate > 0) trace.method.emplace_back("The sample rate is that of the room's first measurement.");
    Append(drawable, std::move(traces));
}

}  // namespace lumvex::app
