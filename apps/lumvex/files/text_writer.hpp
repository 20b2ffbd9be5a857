// Writing of frequency responses and microphone calibrations as text.
#pragma once

#include <filesystem>
#include <iosfwd>

#include "files/measurement_file.hpp"

namespace lumvex::app {

// Throws FileError (naming the path) unless the table is a response or calibration that ReadText would read back the
// same.
void CheckFitsText(const std::filesystem::path& path, const MeasurementFile& file);

// Writes a comment line that names the columns and then a line for each row, with the shortest digits that read back as
// the same floats. The table has to be checked before; the state of the stream tells whether all was written.
void WriteText(std::ostream& out, const MeasurementFile& file, char separator);

}  // namespace lumvex::app
