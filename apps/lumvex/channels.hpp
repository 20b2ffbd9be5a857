// Impulse responses as the channels that measurements of speakers and rooms, and corrections, keep.
#pragma once

#include <span>
#include <string>

#include "files/measurement_file.hpp"

namespace lumvex::app {

std::string CountOf(std::size_t count, const std::string& what);  // "1 channel", "2 channels"

struct InputFile {
    std::filesystem::path path;
    MeasurementFile content;
};

// Throws FileError for a text file: what keeps channels keeps samples in time, at a rate, and has no place for the
// frequencies and phases of a response.
void CheckIsImpulse(const InputFile& file);

// Mono impulse responses as the channels of one, in their order, of the same length and sample rate. Named after what
// their names begin with together, else after the first; dated as the newest. Throws FileError for the first file that
// does not go with the ones before it.
MeasurementFile Joined(std::span<const InputFile> files);

// One measurement with as many channels as there are outputs, from a file with all of them or from mono files. Throws
// FileError when they are not that. `what`: "a measurement of \"Bi amp\"".
MeasurementFile WithOutputs(std::span<const InputFile> files, std::size_t outputs, const std::string& what);

}  // namespace lumvex::app
