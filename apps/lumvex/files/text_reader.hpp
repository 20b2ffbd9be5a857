// Frequency responses and microphone calibrations kept as text.
#pragma once

#include <filesystem>
#include <string>

#include "files/measurement_file.hpp"

namespace lumvex::app {

// The table in the bytes of a text file; name and date are left to the caller, the path serves the messages and the
// extensions of calibrations. Throws FileError with the line and what was expected there.
[[nodiscard]] MeasurementFile ReadText(const std::filesystem::path& path, std::string bytes);

}  // namespace lumvex::app
