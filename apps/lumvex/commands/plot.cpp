#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "commands/commands.hpp"
#include "documents/document.hpp"
#include "files/replaced_file.hpp"
#include "files/text_encoding.hpp"
#include "objects/opened.hpp"
#include "objects/walking.hpp"
#include "pictures/picture.hpp"
#include "report/curves.hpp"
#include "report/packed.hpp"

namespace lumvex::app {

namespace {

namespace fs = std::filesystem;

struct PlotArguments {
    fs::path document, file, calibration;
    std::vector<std::string> addresses;
    std::string chart = "level", smoothing = "1/12", terminal;
    bool all = false, force = false;
};

constexpr std::size_t kMostCurves = 24;

// What is to be drawn, with the names that tell the objects apart.
struct PlottedTrace {
    std::string name;
    Trace trace;
};

int SmoothingOf(const std::string& text) { return text == "none" ? 0 : std::atoi(text.c_str() + 2); }

// The traces of an object; of one that has none, those that were measured below it, and of a room both.
void Collect(const Node& object, TraceSource& source, Paths& paths, bool all, std::vector<PlottedTrace>& found) {
    Drawable drawable;
    if (!object.IsCollection()) drawable = source.Of(object);
    for (Trace& trace : drawable.traces) {
        if (found.size() == kMostCurves) return;
        if (!trace.isShown && !all) continue;
        const std::string name = paths.Of(object) + (trace.label.empty() ? "" : ", " + trace.label);
        found.push_back({name, std::move(trace)});
    }
    if (!drawable.traces.empty() && !object.As<RoomEQ>()) return;
    if (object.IsCollection()) {
        for (LONG place = 1, count = object.Count(); place <= count && found.size() < kMostCurves; ++place)
            if (const Node member =
                    ReadableMember(object, place, [](const std::string& problem) { std::cerr << problem << '\n'; }))
                Collect(member, source, paths, all, found);
        return;
    }
    for (const MemberDescription* child : ChildCollectionsOf(object.Type()))
        Collect(object.Follow(*child), source, paths, all, found);
}

// Of long responses what arrives first, as a report begins; else all. The first sample and the one behind the last.
std::pair<std::size_t, std::size_t> ShownSamples(const ImpulseTrace& data, double arrival) {
    constexpr double kLong = 60, kBefore = 3, kBehind = 27;  // ms
    const double perMs = data.options.rate / 1000, count = static_cast<double>(data.samples.size());
    if (count <= kLong * perMs) return {0, data.samples.size()};
    const double first = std::floor(std::max(0.0, (arrival - kBefore) * perMs));
    const double last = std::min(count, std::ceil((arrival + kBehind) * perMs) + 1);
    return {static_cast<std::size_t>(first), static_cast<std::size_t>(last)};
}

// Empty where the trace has no such curve.
PictureCurve CurveOf(const PlottedTrace& named, const std::string& chart, int smoothing) {
    PictureCurve curve{.label = named.name};
    curve.isDashed = named.trace.role == Role::Limit || named.trace.role == Role::Intended;
    if (const auto* response = std::get_if<ResponseTrace>(&named.trace.data)) {
        curve.x = response->frequencies;
        if (chart == "level") curve.y = response->levels;
        if (chart == "phase") curve.y = response->phases;
        if (chart == "group-delay") curve.y = response->delays;
    } else {
        const auto& data = std::get<ImpulseTrace>(named.trace.data);
        const acoustics::Analysis analysis = Compute(named.trace, data).analysis;
        curve.x = analysis.frequencies;
        if (chart == "level") {
            if (smoothing == 0)
                std::tie(curve.x, curve.y) = std::tie(analysis.exact.x, analysis.exact.y);
            else
                curve.y = SmoothedFrom(analysis.parts, smoothing).levels;
        } else if (chart == "phase") {
            curve.y = analysis.phase;
        } else if (chart == "group-delay") {
            curve.y = SmoothedFrom(analysis.parts, smoothing == 0 ? acoustics::kSmoothings[0] : smoothing).delays;
        } else if (chart == "impulse" || chart == "step") {
            const auto [first, last] = ShownSamples(data, analysis.arrival);
            const acoustics::Points points = (chart == "step" ? acoustics::StepOf : acoustics::ImpulseOf)(
                data.samples, data.options.rate, first, last);
            std::tie(curve.x, curve.y) = std::tie(points.x, points.y);
        } else if (chart == "reverberation") {
            curve.x.clear();
            for (const auto& [centre, decay] : analysis.bands) {
                if (!decay.t20) continue;
                curve.x.push_back(centre);
                curve.y.push_back(*decay.t20);
            }
        } else {
            std::tie(curve.x, curve.y) = std::tie(analysis.decay.times, analysis.decay.levels);
        }
    }
    if (curve.y.empty()) curve.x.clear();
    if (chart == "phase") {
        for (double& degrees : curve.y) degrees -= 360 * std::round(degrees / 360);
        for (std::size_t k = curve.y.size(); k-- > 1;) {
            if (std::abs(curve.y[k] - curve.y[k - 1]) <= 180) continue;
            const auto at = static_cast<std::ptrdiff_t>(k);
            curve.x.insert(curve.x.begin() + at, curve.x[k]);
            curve.y.insert(curve.y.begin() + at, std::nan(""));
        }
    }
    return curve;
}

void SetAxes(Picture& picture, const std::string& chart) {
    const bool isReverberation = chart == "reverberation";
    picture.isLogarithmic = chart == "level" || chart == "phase" || chart == "group-delay" || isReverberation;
    picture.xLabel = isReverberation         ? "Octave band (Hz)"
                     : picture.isLogarithmic ? "Frequency (Hz)"
                                             : "Time from the first sample (ms)";
    picture.yLabel = chart == "level"         ? "Level (dB)"
                     : chart == "phase"       ? "Phase (degrees), arrival taken out"
                     : chart == "group-delay" ? "Group delay (ms)"
                     : isReverberation        ? "Reverberation time T20 (s)"
                     : chart == "impulse"     ? "Sample"
                     : chart == "step"        ? "Step, relative to the greatest sample"
                                              : "Energy still to come (dB)";
    double fromX = HUGE_VAL, toX = -HUGE_VAL, low = HUGE_VAL, high = -HUGE_VAL;
    for (const PictureCurve& curve : picture.curves) {
        fromX = std::min(fromX, curve.x.front());
        toX = std::max(toX, curve.x.back());
    }
    if (isReverberation) {
        fromX = 100, toX = 10000;
    } else if (picture.isLogarithmic) {
        fromX = std::max(20.0, fromX);
        toX = std::max(2 * fromX, std::min(20000.0, toX));
    }
    for (const PictureCurve& curve : picture.curves) {
        for (std::size_t k = 0; k < curve.x.size(); ++k) {
            if (curve.x[k] < fromX || curve.x[k] > toX || !std::isfinite(curve.y[k])) continue;
            low = std::min(low, curve.y[k]);
            high = std::max(high, curve.y[k]);
        }
    }
    if (!(low <= high)) low = 0, high = 1;
    if (chart == "level") {
        high = 5 * std::ceil(high / 5 + 0.4);
        low = std::max(high - 60, 5 * std::floor(low / 5 - 0.4));
    } else if (chart == "phase") {
        low = -180, high = 180;
        picture.ySteps = {15, 30, 45, 90};
    } else if (isReverberation) {
        low = 0, high *= 1.15;
    } else if (chart == "decay") {
        high = 3, low = std::max(low, -90.0);
    } else {
        const double margin = high > low ? (high - low) * 0.06 : 1;
        low -= margin, high += margin;
    }
    picture.fromX = fromX, picture.toX = toX > fromX ? toX : fromX + 1;
    picture.fromY = low, picture.toY = high;
}

Picture PictureOf(const PlotArguments& arguments) {
    std::optional<Calibration> calibration;
    if (!arguments.calibration.empty()) calibration = ReadCalibration(arguments.calibration);
    const ReadDocument document(arguments.document);
    Picture picture;
    OnObjects(arguments.document, "cannot be read", [&] {
        TraceSource source(document.Root(), calibration);
        Paths paths;
        std::vector<PlottedTrace> found;
        for (const std::string& address : arguments.addresses)
            for (const Node& object : document.Objects().FindAll(address))
                Collect(object, source, paths, arguments.all, found);
        for (const PlottedTrace& named : found) {
            PictureCurve curve = CurveOf(named, arguments.chart, SmoothingOf(arguments.smoothing));
            if (!curve.x.empty()) picture.curves.push_back(std::move(curve));
        }
    });
    if (picture.curves.empty())
        throw FileError(arguments.document, "there is no " + arguments.chart + " to draw of what is named");
    picture.title = Utf8(arguments.document.filename());
    if (picture.curves.size() == 1) picture.title += ": " + picture.curves[0].label;
    if (arguments.chart == "level" || arguments.chart == "group-delay")
        picture.title += arguments.smoothing == "none" ? "" : " (smoothed to " + arguments.smoothing + " octave)";
    picture.height = 510 + 20 * static_cast<double>(picture.curves.size());
    SetAxes(picture, arguments.chart);
    return picture;
}

// The protocol of the terminal that this process writes to; empty: none that is known.
std::string TerminalProtocol() {
    const auto variable = [](const char* name) {
        const char* const value = std::getenv(name);
        return std::string(value ? value : "");
    };
    const std::string program = variable("TERM_PROGRAM");
    if (variable("TERM").find("kitty") != std::string::npos || !variable("KITTY_WINDOW_ID").empty() ||
        program == "ghostty")
        return "kitty";
    return program == "iTerm.app" || program == "WezTerm" ? "iterm" : "";
}

void PrintPicture(const std::string& png, const std::string& protocol) {
    const std::string text = Base64(png);
    if (protocol == "iterm") {
        std::cout << "\x1b]1337;File=inline=1;size=" << png.size() << ":" << text << "\a\n";
        return;
    }
    constexpr std::size_t kChunk = 4096;
    for (std::size_t at = 0; at < text.size(); at += kChunk)
        std::cout << "\x1b_G" << (at == 0 ? "a=T,f=100," : "") << "m=" << (at + kChunk < text.size()) << ';'
                  << text.substr(at, kChunk) << "\x1b\\";
    std::cout << '\n';
}

ExitStatus RunPlot(const PlotArguments& arguments) {
    const std::string extension = LowerExtension(arguments.file);
    if (!arguments.file.empty()) {
        if (extension != ".svg" && extension != ".png")
            throw FileError(arguments.file, "pictures are written as .svg or .png");
        CheckMayWrite(arguments.file, arguments.force);
    }
    const Picture picture = PictureOf(arguments);
    const std::string protocol = arguments.terminal.empty() ? TerminalProtocol() : arguments.terminal;
    if (arguments.file.empty() && protocol.empty())
        throw std::runtime_error("this terminal is not known to show pictures: -o names a file, --terminal a protocol");
    std::string bytes;
    try {
        bytes = extension == ".svg" ? SvgText(picture) : PngBytes(picture);
    } catch (const std::runtime_error& error) {
        throw FileError(arguments.file, error.what());
    }
    if (arguments.file.empty()) {
        PrintPicture(bytes, protocol);
        return kDone;
    }
    ReplacedFile replaced(arguments.file);
    {
        std::ofstream out(replaced.Temporary(), std::ios::binary);
        if (!out.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush())
            throw FileError(arguments.file, "it could not be written completely");
    }
    replaced.Commit();
    return kDone;
}

}  // namespace

Command commands::Plot() {
    const auto arguments = std::make_shared<PlotArguments>();
    const Value chart{.shown = "CHART",
                      .choices = {"level", "phase", "group-delay", "impulse", "step", "decay", "reverberation"}};
    const Value smoothing{.shown = "PART", .choices = {"none", "1/48", "1/24", "1/12", "1/6", "1/3"}};
    const Value terminal{.shown = "PROTOCOL", .choices = {"kitty", "iterm"}};
    return {.name = "plot",
            .summary = "Draw a picture of curves of a document",
            .options = {DocumentOption(arguments->document, "the project or library; opened for reading only"),
                        {"ADDRESS",
                         &arguments->addresses,
                         kShown,
                         "what to draw; of an object without curves of its own those measured below it",
                         {.required = true}},
                        {"-o,--output", &arguments->file, kFile,
                         "the picture to write, .svg or .png; without it the picture goes to the terminal"},
                        {"--chart", &arguments->chart, chart, "what to draw of it; level without this option"},
                        {"--smoothing", &arguments->smoothing, smoothing,
                         "of level and group delay, in parts of an octave; 1/12 without this option"},
                        {"--all", &arguments->all, {}, "draw also the curves that a report hides at first"},
                        {"--calibration", &arguments->calibration, kFile,
                         "the response of the microphone, which is taken out of the levels of all\nmeasurements of "
                         "speakers and rooms"},
                        {"--terminal", &arguments->terminal, terminal,
                         "how the terminal takes pictures; found out where it is known"},
                        {"--force", &arguments->force, {}, "replace FILE when it exists; without it that is refused"}},
            .details =
                "Draws the same curves as \"report\", which says how each was computed; at most 24 of them. Steps of "
                "addresses\nmay be patterns: \"Left/*/Measurements/On*\".\n"
                "FILE is written completely or not at all.",
            .incomplete = "there is nothing to draw, or FILE could not be written",
            .run = [arguments] { return RunPlot(*arguments); }};
}

}  // namespace lumvex::app
