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

void CheckIsMeasurement(const InputFile& file);  // throws FileError for a calibration
void CheckIsImpulse(const InputFile& file);      // throws FileError for any response

// Throws FileError, which says what to do, for a file that is no impulse response. `owner`: "room".
void CheckIsSound(const InputFile& file, const std::string& owner);

// Joins mono impulse responses into one measurement, a channel for each file in their order; a single file stays as it
// is. They have to have the same length, sample rate and start time. The measurement gets the beginning that all names
// share, or else the first name, and the newest date. Takes the files' values away unless it throws FileError, for the
// first file that does not go with the ones before it.
MeasurementFile Joined(std::span<InputFile> files);

// Joins the files and requires that the result has `outputs` channels: either one file has them all, or there are as
// many mono files. Throws FileError otherwise. `what` is for its message: "a measurement of \"Bi amp\"".
MeasurementFile WithOutputs(std::span<InputFile> files, std::size_t outputs, const std::string& what);

}  // namespace lumvex::app
