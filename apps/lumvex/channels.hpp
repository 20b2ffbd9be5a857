// Measurement files as the channels that microphones, measurements of speakers and measurements of rooms keep.
#pragma once

#include <span>
#include <string>

#include "files/measurement_file.hpp"

namespace lumvex::app {

struct InputFile {
    std::filesystem::path path;
    MeasurementFile content;
};

// How many channels the file is: the columns of sound, one for text, whose levels are the channel.
std::size_t ChannelCount(const MeasurementFile& file);

// The same file with one column per channel: of text, the levels alone.
MeasurementFile AsChannels(MeasurementFile file);

// Mono files as the channels of one, in their order: of the same kind, length and sample rate, text also with the same
// frequencies. Named after what their names begin with together, else after the first; dated as the newest. Throws
// FileError for the first file that does not go with the ones before it.
MeasurementFile Joined(std::span<const InputFile> files);

}  // namespace lumvex::app
