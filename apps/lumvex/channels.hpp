// Responses as the channels that measurements of speakers and rooms, and corrections, keep.
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

std::size_t ChannelCount(const MeasurementFile& file);  // a text file has one

// Of a text file's frequency, level and phase the levels alone.
MeasurementFile LevelsOf(const MeasurementFile& file);

void CheckIsMeasurement(const InputFile& file);  // throws FileError for a calibration
void CheckIsImpulse(const InputFile& file);      // throws FileError for any text file

// One file, or mono files of one kind as the channels of one measurement, in their order: impulse responses of the same
// length and sample rate, or the levels of responses at the same frequencies. Named after what their names begin with
// together, else after the first; dated as the newest. Throws FileError for the first file that does not go with the
// ones before it.
MeasurementFile Joined(std::span<const InputFile> files);

// One measurement with as many channels as there are outputs, from a file with all of them or from mono files. Throws
// FileError when they are not that. `what`: "a measurement of \"Bi amp\"".
MeasurementFile WithOutputs(std::span<const InputFile> files, std::size_t outputs, const std::string& what);

}  // namespace lumvex::app
