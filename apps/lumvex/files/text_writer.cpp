#include "files/text_writer.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <ostream>
#include <string>

#include "files/loudspeakers.hpp"
#include "files/text_encoding.hpp"
#include "files/text_header.hpp"
#include "files/text_numbers.hpp"
#include "files/time_column.hpp"

namespace lumvex::app {

namespace {

constexpr std::size_t kWrittenAtATime = 1 << 16;
constexpr std::array<const char*, 3> kColumnNames = {"Frequency (Hz)", "Level (dB)", "Phase (degrees)"};

template <class Number>
void Append(std::string& text, Number value) {
    std::array<char, 32> digits;
    text.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr);
}

// The words that calibration files commonly use, so that other programs find the values.
std::string CalibrationLine(const MeasurementFile& file) {
    if (!file.sensitivity && !file.serialNumber) return "* " + std::string(CalibrationHeader::kMark) + "\n";
    std::string line = "\"";
    if (file.sensitivity) {
        line += "Sens Factor =";
        Append(line, *file.sensitivity);
        line += "dB";
    }
    if (file.serialNumber) line += (file.sensitivity ? ", SERNO: " : "SERNO: ") + *file.serialNumber;
    return line + "\"\n";
}

std::string ImpulseLines(const MeasurementFile& file) {
    std::string lines = "* Impulse response\n* Sample rate: ";
    Append(lines, file.sampleRate);
    lines += " Hz\n* Channels: ";
    Append(lines, file.columns);
    lines += '\n';
    if (!file.loudspeakers.empty()) lines += "* Loudspeakers: " + LoudspeakerText(file.loudspeakers) + '\n';
    if (!file.startTime) return lines;
    lines += "* Start time (seconds): ";
    Append(lines, *file.startTime);
    return lines + '\n';
}

std::string NameLine(const MeasurementFile& file, char separator) {
    std::string line = "* ";
    for (std::size_t column = 0; column < std::min(file.columns, kColumnNames.size()); ++column) {
        if (column != 0) line += separator;
        line += kColumnNames[column];
    }
    return line + '\n';
}

bool SaysCalibration(const TextHeader& header, const MeasurementFile& file) {
    const CalibrationHeader& said = header.Calibration();
    return said.IsCalibration() && said.SerialNumber() == file.serialNumber && said.Sensitivity() == file.sensitivity;
}

bool SaysImpulse(const TextHeader& header, const MeasurementFile& file) {
    const bool isRate = header.Rate() && header.Rate()->value == file.sampleRate;
    const bool isInterval = !header.Rate() && header.Interval() && SampleRateOf(*header.Interval()) == file.sampleRate;
    const std::optional<double> start = header.Start() ? std::optional(header.Start()->value) : std::nullopt;
    return (isRate || isInterval) && header.IsOfImpulse() && start.value_or(0) == file.startTime.value_or(0) &&
           header.Channels().value_or(1) == file.columns && header.Loudspeakers() == file.loudspeakers;
}

// Does the header that came with the numbers say already what would be written?
bool SaysAll(const MeasurementFile& file) {
    TextHeader header;
    for (std::string_view rest = file.header; !rest.empty();) {
        const std::size_t end = std::min(rest.find('\n'), rest.size() - 1);
        header.ReadLine(rest.substr(0, end));
        rest.remove_prefix(end + 1);
    }
    if (file.kind == MeasurementFile::Kind::Calibration) return SaysCalibration(header, file);
    return file.kind == MeasurementFile::Kind::Impulse && SaysImpulse(header, file);
}

}  // namespace

void CheckFitsText(const std::filesystem::path& path, const MeasurementFile& file) {
    const bool isImpulse = file.kind == MeasurementFile::Kind::Impulse;
    if (isImpulse && file.sampleRate <= 0)
        throw FileError(path, 0, "a sample rate above 0 for an impulse response", std::to_string(file.sampleRate));
    if (isImpulse || file.kind == MeasurementFile::Kind::Data) {
        if (file.columns <= kMostColumns) return;
        throw FileError(path, 0, "at most " + std::to_string(kMostColumns) + " columns for a text file",
                        std::to_string(file.columns));
    }
    if (file.columns < 2 || file.columns > kColumnNames.size()) {
        throw FileError(path, 0, "2 or 3 columns (frequency, level, phase) for a text file",
                        std::to_string(file.columns));
    }
    if (file.kind != MeasurementFile::Kind::Calibration) return;
    if (file.sensitivity && !std::isfinite(*file.sensitivity)) {
        throw FileError(path, 0, "a finite sensitivity in dB", "infinity or NaN");
    }
    CalibrationHeader header;
    header.ReadLine(CalibrationLine(file));
    if (header.SerialNumber() != file.serialNumber || header.Sensitivity() != file.sensitivity) {
        throw FileError(path, 0, "a serial number of letters, digits and - _ / . with at least one digit",
                        Quoted(file.serialNumber.value_or("")));
    }
}

std::string HeaderText(const MeasurementFile& file, char separator) {
    std::string facts;
    if (file.kind == MeasurementFile::Kind::Calibration) facts = CalibrationLine(file);
    if (file.kind == MeasurementFile::Kind::Impulse) facts = ImpulseLines(file);
    const bool hasNames =
        file.kind == MeasurementFile::Kind::Response || file.kind == MeasurementFile::Kind::Calibration;
    if (file.header.empty()) return facts + (hasNames ? NameLine(file, separator) : "");
    if (SaysAll(file)) return file.header;
    std::string lines = file.header;
    for (std::string_view rest = facts; !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find('\n') + 1);
        if (file.header.find(line) == std::string::npos) lines += line;
        rest.remove_prefix(line.size());
    }
    return lines;
}

void WriteText(std::ostream& out, const MeasurementFile& file, char separator) {
    std::string text = HeaderText(file, separator);
    for (std::size_t row = 0; row < file.rows && out; ++row) {
        for (std::size_t column = 0; column < file.columns; ++column) {
            if (column != 0) text += separator;
            Append(text, file.values[column * file.rows + row]);
        }
        text += '\n';
        if (text.size() < kWrittenAtATime) continue;
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
        text.clear();
    }
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace lumvex::app
