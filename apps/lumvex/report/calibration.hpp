// The response of a measurement microphone, by which levels are corrected.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace lumvex::app {

struct Calibration {
    std::string name;                                   // "microphone.txt", "7000042"
    bool isFile = false;                                // it is from a file that holds a microphone's own response
    bool isInverse = false;                             // the curve that it was made from is taken out
    std::vector<double> frequencies = {}, levels = {};  // Hz, rising; dB to be added to a measured level

    // dB at a frequency, linear over its logarithm; beyond the ends those of the ends.
    double LevelAt(double frequency) const;
};

// From a file that holds the microphone's own response, which is to be taken out. Throws FileError.
Calibration ReadCalibration(const std::filesystem::path& file);

}  // namespace lumvex::app
