// Impulse responses kept as sound, through libsndfile.
#pragma once

#include <filesystem>
#include <fstream>
#include <string_view>

#include "files/measurement_file.hpp"

namespace lumvex::app {

// Whether a file that begins like this, or else by its extension, is a sound file.
[[nodiscard]] bool IsSound(std::string_view beginning, const std::filesystem::path& path);

// One column per channel, integer samples scaled to -1..1, float samples as they are. Name and date are left to the
// caller. Throws FileError for everything that is not a complete file with at least one sample.
[[nodiscard]] MeasurementFile ReadSound(const std::filesystem::path& path, std::fstream& in);

// Throws FileError (naming the path) unless the table is an impulse response that a .wav file can hold.
void CheckFitsSound(const std::filesystem::path& path, const MeasurementFile& file);

// A .wav file of 32-bit floats. The table has been checked; throws FileError when writing fails.
void WriteSound(const std::filesystem::path& path, std::fstream& out, const MeasurementFile& file);

}  // namespace lumvex::app
