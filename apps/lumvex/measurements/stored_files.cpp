#include "measurements/stored_files.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <functional>
#include <limits>
#include <locale>
#include <span>
#include <sstream>

#include "files/loudspeakers.hpp"
#include "files/text_header.hpp"
#include "measurements/named_data.hpp"
#include "objects/design_tables.hpp"

namespace lumvex::app {

namespace {

using FileKind = MeasurementFile::Kind;

std::uint32_t BitsOf(float value) { return std::bit_cast<std::uint32_t>(value); }

// Whether every `step`th value, from the first on, is above 0 and above the one before.
bool AreFrequencies(std::span<const float> values, std::size_t step) {
    if (values.empty() || values.size() % step != 0) return false;
    float previous = 0;
    for (std::size_t at = 0; at < values.size(); at += step) {
        if (!(values[at] > previous)) return false;
        previous = values[at];
    }
    return true;
}

// How many values each entry of a calibration has; 1: levels alone.
std::size_t EntrySize(std::span<const float> values) {
    return AreFrequencies(values, 2) ? 2 : AreFrequencies(values, 3) ? 3 : 1;
}

// The table with rows and columns exchanged.
std::vector<float> Turned(std::span<const float> values, std::size_t rows) {
    const std::size_t columns = rows == 0 ? 0 : values.size() / rows;
    std::vector<float> turned(values.size());
    for (std::size_t at = 0; at < values.size(); ++at) turned[at % rows * columns + at / rows] = values[at];
    return turned;
}

// The client's own, which no sample rate goes with.
constexpr std::string_view kOwnArray = "ConfigData";

// 0 for a date that the system's clock does not know.
std::time_t TimeOf(DATE date) {
    const auto parts = SplitDate(date);
    if (!parts) return 0;
    std::tm time{};
    time.tm_year = parts->year - 1900;
    time.tm_mon = parts->month - 1;
    time.tm_mday = parts->day;
    time.tm_hour = parts->hour;
    time.tm_min = parts->minute;
    time.tm_sec = parts->second;
    time.tm_isdst = -1;
    const std::time_t found = std::mktime(&time);
    return found == -1 ? 0 : found;
}

// In Hz; 0 for an object without one. A room's position has a float, all others an integer.
std::int32_t SampleRateOf(const Node& item) {
    const MemberDescription* property = item.Type().Find("SampleRate");
    if (!property) return 0;
    const Variant rate = item.Get(*property);
    return rate.vt == VT_I4 ? rate.lVal : rate.vt == VT_R4 ? static_cast<std::int32_t>(rate.fltVal) : 0;
}

void TakeHeader(const std::string& text, MeasurementFile& file) {
    TextHeader header;
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        header.ReadLine(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    file.header = text;
    if (file.kind == FileKind::Impulse && header.Start()) file.startTime = header.Start()->value;
    if (file.kind == FileKind::Impulse && header.Loudspeakers().size() == file.columns)
        file.loudspeakers = header.Loudspeakers();
    const CalibrationHeader& calibration = header.Calibration();
    if (file.kind != FileKind::Response || !calibration.IsCalibration()) return;
    file.kind = FileKind::Calibration;
    file.serialNumber = calibration.SerialNumber();
    file.sensitivity = calibration.Sensitivity();
}

// The sample rate alone does not tell a response (0) from an impulse: a new datum has a rate, and a client that stores
// a response may leave it. A first column that rises is taken for frequencies too.
FileKind KindOf(const MeasurementFile& file) {
    const std::span<const float> values = file.values;
    const bool isTable = file.columns == 2 || file.columns == 3;
    if (isTable && AreFrequencies(values.first(file.rows), 1)) return FileKind::Response;
    return file.sampleRate > 0 ? FileKind::Impulse : FileKind::Data;
}

void TakeMicrophone(const Microphone& microphone, MeasurementFile& file) {
    const std::size_t size = file.columns == 1 ? EntrySize(file.values) : 1;
    file.sensitivity = SensitivityOf(microphone.Scale());
    if (std::ranges::any_of(file.name, [](char c) { return c >= '0' && c <= '9'; })) file.serialNumber = file.name;
    if (size == 1) return;  // levels without frequencies are no file
    file.values = Turned(file.values, size);
    file.columns = size;
    file.rows = file.values.size() / size;
    file.kind = FileKind::Calibration;
}

std::optional<double> StartTimeIn(const RoomMeasurement& measurement) {
    const Array stored(measurement.ConfigData());
    if (stored.Type() != VT_R4 || stored.Rows() * stored.Columns() != 1) return std::nullopt;
    return static_cast<double>(stored.Values<float>()[0]);
}

void TakeStartTime(const Node& item, MeasurementFile& file) {
    if (file.kind != FileKind::Impulse) return;
    if (const auto measurement = item.As<Measurement>(); measurement && measurement.MeasureStart() != 0)
        file.startTime = -static_cast<double>(measurement.MeasureStart()) / 1000;
    if (const auto measurement = item.As<RoomMeasurement>())
        if (const auto start = StartTimeIn(measurement)) file.startTime = start;
}

}  // namespace

Array CalibrationEntries(const MeasurementFile& file) {
    const std::vector<float> entries = Turned(file.values, file.rows);
    return Array::FromColumns(entries, entries.size(), 1);
}

std::string ProblemOfCalibration(const MeasurementFile& file) {
    const std::vector<float> entries = Turned(file.values, file.rows);
    if (EntrySize(entries) == file.columns) return {};
    return "a library knows frequencies by their rising, and these do not";
}

float ScaleOf(const std::optional<double>& sensitivity) {
    const float scale = sensitivity ? static_cast<float>(*sensitivity) : 1.0f;
    return sensitivity && scale == 1.0f ? std::nextafter(scale, 2.0f) : scale;
}

std::optional<double> SensitivityOf(float scale) {
    if (scale == 1.0f) return std::nullopt;
    if (scale == std::nextafter(1.0f, 2.0f)) return 1.0;
    // The shortest number that is this float: what the file said, where that had no more digits than a float.
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.precision(std::numeric_limits<float>::digits10);
    text << scale;
    double said = 0;
    std::istringstream again(text.str());
    again.imbue(std::locale::classic());
    again >> said;
    return static_cast<float>(said) == scale ? said : static_cast<double>(scale);
}

void StoreStartTime(const std::optional<double>& seconds, Measurement measurement) {
    const double start = seconds.value_or(0);
    if (start != 0 || measurement.MeasureStart() != 0) measurement.MeasureStart(static_cast<float>(-start * 1000));
}

void StoreStartTime(const std::optional<double>& seconds, RoomMeasurement measurement) {
    const float value = static_cast<float>(seconds.value_or(0));
    if (seconds || StartTimeIn(measurement)) measurement.ConfigData(InTwoDimensions({&value, 1}, 1));
}

std::vector<const MemberDescription*> ArrayProperties(const InterfaceDescription& type) {
    std::vector<const MemberDescription*> arrays = PropertiesOf(type);
    std::erase_if(arrays, [](const MemberDescription* each) {
        return each->type != "VARIANT" || !each->parameters.empty() || !IsValue(*each);
    });
    return arrays;
}

MeasurementFile FileFrom(const Node& item, const MemberDescription& property, const std::string& header) {
    const Array array = NumbersOf(Array(item.Get(property)));
    MeasurementFile file;
    file.name = ToUtf8(item.Name());
    file.rows = array.Rows();
    file.columns = array.Columns();
    if (const MemberDescription* date = item.Type().Find("Timestamp")) file.modified = TimeOf(item.Get(*date).date);
    const std::span<const float> values = array.Values<float>();
    const DesignTable* table = FindDesignTable(property.name);
    if (table && array.Rows() == table->values.size()) {
        file.values = Turned(values, array.Rows());
        file.kind = FileKind::Data;
        std::swap(file.rows, file.columns);
        for (const std::string& each : table->values) file.header += (file.header.empty() ? "" : ",") + each;
        file.header += '\n';
        return file;
    }
    file.values.assign(values.begin(), values.end());
    if (property.name == kOwnArray) {
        file.kind = FileKind::Data;
        return file;
    }
    file.sampleRate = SampleRateOf(item);
    file.kind = KindOf(file);
    if (property.name != "Data") return file;
    if (const auto microphone = item.As<Microphone>()) TakeMicrophone(microphone, file);
    TakeStartTime(item, file);
    if (!header.empty()) TakeHeader(header, file);
    return file;
}

std::optional<std::string> DifferenceOf(const MeasurementFile& file, const MeasurementFile& stored) {
    std::ostringstream words;
    words.precision(9);  // tells any two floats apart
    const auto differs = [&](const auto& inDocument, const auto& inFile) {
        words << inDocument << " in the document, " << inFile << " in the file";
        return words.str();
    };
    const auto shape = [](const MeasurementFile& each) { return ShapeText(each.rows, each.columns); };
    if (stored.rows != file.rows || stored.columns != file.columns) return differs(shape(stored), shape(file));
    if (stored.sampleRate != file.sampleRate)
        return differs(std::to_string(stored.sampleRate) + " Hz", std::to_string(file.sampleRate) + " Hz");
    for (std::size_t index = 0; index < stored.values.size(); ++index) {
        if (BitsOf(stored.values[index]) == BitsOf(file.values[index])) continue;
        words << "row " << index % file.rows + 1 << ", column " << index / file.rows + 1 << ": ";
        return differs(stored.values[index], file.values[index]);
    }
    const auto told = [](const auto& value, const char* unit) {
        std::ostringstream text;
        text.precision(9);
        value ? text << *value << unit : text << "none";
        return text.str();
    };
    // What a document keeps of these are 32-bit floats.
    const auto same = [](const std::optional<double>& one, const std::optional<double>& two) {
        return one.has_value() == two.has_value() && (!one || static_cast<float>(*one) == static_cast<float>(*two));
    };
    const double start = stored.startTime.value_or(0), startInFile = file.startTime.value_or(0);
    if (std::abs(start - startInFile) > 1e-6 * std::abs(startInFile)) {
        words << "start time: ";
        return differs(told(stored.startTime, " s"), told(file.startTime, " s"));
    }
    if (!same(stored.sensitivity, file.sensitivity)) {
        words << "sensitivity: ";
        return differs(told(stored.sensitivity, " dB"), told(file.sensitivity, " dB"));
    }
    if (file.kind == FileKind::Calibration && file.serialNumber && stored.serialNumber != file.serialNumber) {
        words << "serial number: ";
        return differs(told(stored.serialNumber, ""), told(file.serialNumber, ""));
    }
    if (stored.loudspeakers != file.loudspeakers) {
        words << "loudspeakers: ";
        const auto of = [](const MeasurementFile& each) {
            return each.loudspeakers.empty() ? "none" : LoudspeakerText(each.loudspeakers);
        };
        return differs(of(stored), of(file));
    }
    if (file.rounded != 0)
        return std::to_string(file.rounded) + " of the file's samples are no 32-bit floats, which the document has";
    return std::nullopt;
}

}  // namespace lumvex::app
