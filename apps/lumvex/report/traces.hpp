// What there is to draw of an object: the responses it holds, and those that follow from what it refers to.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "acoustics/analysis.hpp"
#include "objects/node.hpp"
#include "report/calibration.hpp"

namespace lumvex::app {

// Samples in time, from which all curves are computed.
struct ImpulseTrace {
    std::vector<float> samples;  // at least one, all finite
    acoustics::AnalysisOptions options = {};
    bool isPressure = false;  // levels are dB re 20 uPa; else re full scale
};

// A frequency response as it stands.
struct ResponseTrace {
    std::vector<double> frequencies, levels;  // Hz, rising; dB
    std::vector<double> phases;               // degrees; as many or none
    std::vector<double> delays;               // group delay, ms; as many or none
};

enum class Role { Measured, Filter, Sum, Corrected, Intended, Limit };

struct Trace {
    std::string label = {};  // within the object: "output 1"; may be empty
    Role role = Role::Measured;
    bool isShown = true;  // before anybody chooses
    std::variant<ImpulseTrace, ResponseTrace> data = {};
    std::vector<std::string> method = {};  // sentences on where the data are from
};

// A table that belongs to an object: the stages of an output position.
struct TextTable {
    std::string title;
    std::vector<std::string> columns;
    std::vector<std::vector<std::string>> rows = {};
};

struct Drawable {
    std::vector<Trace> traces;
    std::vector<TextTable> tables;
    std::vector<std::string> notes;  // what cannot be drawn, and why
};

// What there is to draw of the objects of one document.
class TraceSource {
public:
    // `chosen`: the calibration of all measurements of speakers and rooms; without it those of speakers take that of
    // their microphone, as far as the project's library has one with frequencies.
    TraceSource(const Node& root, const std::optional<Calibration>& chosen);

    // Of an object without anything to draw empty. Throws Error when it cannot be read.
    Drawable Of(const Node& object);

private:
    void Add(const Datum& datum, Drawable& drawable);
    void Add(const Measurement& measurement, Drawable& drawable);
    void Add(const RoomMeasurement& measurement, Drawable& drawable);
    void Add(const Microphone& microphone, Drawable& drawable);
    void Add(const Correction& correction, Drawable& drawable);
    void Add(const SpkrEQDesign& design, Drawable& drawable);
    void Add(const RoomEQ& room, Drawable& drawable);
    void Add(const RoomCorrection& correction, Drawable& drawable);
    void Add(const BoxCfgBank& profile, Drawable& drawable);
    void Add(const BoxCfgSpkr& position, Drawable& drawable);

    template <class Item>
    bool AddAs(const Node& object, Drawable& drawable);
    const Calibration* CalibrationOf(const Measurement& measurement, std::vector<std::string>& method);
    void AddResponses(const Array& levels, std::u16string_view name, Drawable& drawable);

    Node root_;
    std::optional<Calibration> chosen_;
    std::map<std::u16string, std::optional<Calibration>> microphones_;  // by serial number
};

const char* NameOf(Role role);  // "measured"

}  // namespace lumvex::app
