// Frequency responses, microphone calibrations, impulse responses and plain numbers kept as text.
#pragma once

#include <filesystem>
#include <istream>

#include "files/measurement_file.hpp"

namespace lumvex::app {

// Reads the table of a text file, line by line; the caller fills in name and date. The path is for messages, and its
// extension may mark a calibration or an impedance. Throws FileError with the line and what was expected there.
[[nodiscard]] MeasurementFile ReadText(const std::filesystem::path& path, std::istream& in, const ReadOptions& options);

}  // namespace lumvex::app
