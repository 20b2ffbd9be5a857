// Frequency responses and microphone calibrations kept as text.
#pragma once

#include <filesystem>
#include <string>

#include "files/measurement_file.hpp"

namespace lumvex::app {

// Reads the table in the bytes of a text file; the caller fills in name and date. The path is for messages, and its
// extension may mark a calibration. Throws FileError with the line and what was expected there.
[[nodiscard]] MeasurementFile ReadText(const std::filesystem::path& path, std::string bytes);

}  // namespace lumvex::app
