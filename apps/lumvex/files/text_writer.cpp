#include "files/text_writer.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <ostream>
#include <string>

#include "files/calibration_header.hpp"
#include "files/text_encoding.hpp"
#include "files/text_numbers.hpp"

namespace lumvex::app {

namespace {

constexpr std::size_t kBlock = 1 << 16;
constexpr const char* kColumnNames[kMostColumns] = {"Frequency (Hz)", "Level (dB)", "Phase (degrees)"};

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

}  // namespace

void CheckFitsText(const std::filesystem::path& path, const MeasurementFile& file) {
    if (file.kind == MeasurementFile::Kind::Impulse) {
        throw FileError(path, 0, "a frequency response for a text file", "an impulse response; .wav holds those");
    }
    if (file.columns < kFewestColumns || file.columns > kMostColumns) {
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

void WriteText(std::ostream& out, const MeasurementFile& file, char separator) {
    std::string text;
    if (file.kind == MeasurementFile::Kind::Calibration) text += CalibrationLine(file);
    text += "* ";
    for (std::size_t column = 0; column < std::min(file.columns, kMostColumns); ++column) {
        if (column != 0) text += separator;
        text += kColumnNames[column];
    }
    text += '\n';
    for (std::size_t row = 0; row < file.rows && out; ++row) {
        for (std::size_t column = 0; column < file.columns; ++column) {
            if (column != 0) text += separator;
            Append(text, file.values[column * file.rows + row]);
        }
        text += '\n';
        if (text.size() < kBlock) continue;
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
        text.clear();
    }
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace lumvex::app
