// Writing of frequency responses, microphone calibrations, impulse responses and plain numbers as text.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>

#include "files/measurement_file.hpp"

namespace lumvex::app {

// Throws FileError (naming the path) unless ReadText would read the table back the same: plain numbers as Kind::Data,
// all others by themselves.
void CheckFitsText(const std::filesystem::path& path, const MeasurementFile& file);

// The lines above the numbers: the file's own header, with what it does not say of the table.
[[nodiscard]] std::string HeaderText(const MeasurementFile& file, char separator = '\t');

// Writes the file's header, or without one comments that say what the table is, and then a line for each row, with the
// shortest digits that read back as the same floats. The table has to be checked before; the state of the stream tells
// whether all was written.
void WriteText(std::ostream& out, const MeasurementFile& file, char separator);

}  // namespace lumvex::app
