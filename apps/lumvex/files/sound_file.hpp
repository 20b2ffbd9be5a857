// Impulse responses kept as sound, through libsndfile.
#pragma once

#include <filesystem>
#include <istream>
#include <string_view>

#include "files/measurement_file.hpp"

namespace lumvex::app {

// Whether a file that begins like this, or else by its extension, is a sound file.
[[nodiscard]] bool IsSound(std::string_view beginning, const std::filesystem::path& path);

// One column per channel, integer samples scaled to -1..1, float samples as they are; the notes say what was rounded or
// left out. Name and date are left to the caller. Throws FileError for everything that is not a complete file with at
// least one sample.
[[nodiscard]] MeasurementFile ReadSound(const std::filesystem::path& path, std::iostream& in);

enum class SoundFormat { Wav, Flac };

// Throws FileError (naming the path) unless the table is an impulse response that a file of this format can hold.
void CheckFitsSound(const std::filesystem::path& path, const MeasurementFile& file, SoundFormat format,
                    SampleBits bits);

// Does a file of this format keep which loudspeakers the channels are for?
[[nodiscard]] bool KeepsLoudspeakers(const MeasurementFile& file, SoundFormat format);

// A file of these samples. The table has been checked; throws FileError when writing fails. Returns how many samples
// had to be rounded to the bits.
std::size_t WriteSound(const std::filesystem::path& path, std::iostream& out, const MeasurementFile& file,
                       SoundFormat format, SampleBits bits);

}  // namespace lumvex::app
