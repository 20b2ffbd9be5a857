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

// Keeps the levels of a text file and drops its frequencies and phases.
MeasurementFile LevelsOf(const MeasurementFile& file);

void CheckIsMeasurement(const InputFile& file);  // throws FileError for a calibration
void CheckIsImpulse(const InputFile& file);      // throws FileError for any text file

// Joins mono files of one kind into one measurement, a channel for each file in their order; a single file stays as it
// is. Impulse responses have to have the same length and sample rate, frequency responses the same frequencies; of
// these only the levels are kept. The measurement gets the beginning that all names share, or else the first name, and
// the newest date. Throws FileError for the first file that does not go with the ones before it.
MeasurementFile Joined(std::span<const InputFile> files);

// Joins the files and requires that the result has `outputs` channels: either one file has them all, or there are as
// many mono files. Throws FileError otherwise. `what` is for its message: "a measurement of \"Bi amp\"".
MeasurementFile WithOutputs(std::span<const InputFile> files, std::size_t outputs, const std::string& what);

}  // namespace lumvex::app
