#include "report/calibration.hpp"

#include <algorithm>
#include <cmath>

#include "files/measurement_file.hpp"
#include "files/text_encoding.hpp"

namespace lumvex::app {

double Calibration::LevelAt(double frequency) const {
    const auto above = std::ranges::upper_bound(frequencies, frequency);
    if (above == frequencies.begin()) return levels.front();
    if (above == frequencies.end()) return levels.back();
    const auto place = static_cast<std::size_t>(above - frequencies.begin());
    const double part =
        std::log(frequency / frequencies[place - 1]) / std::log(frequencies[place] / frequencies[place - 1]);
    return levels[place - 1] + part * (levels[place] - levels[place - 1]);
}

Calibration ReadCalibration(const std::filesystem::path& file) {
    const MeasurementFile read = ReadMeasurementFile(file);
    if (read.kind == MeasurementFile::Kind::Impulse || read.columns < 2)
        throw FileError(file, "it holds no frequencies and levels, as a microphone calibration does");
    Calibration calibration;
    calibration.name = Utf8(file.filename());
    calibration.isFile = true;
    calibration.isInverse = true;
    for (std::size_t row = 0; row < read.rows; ++row) {
        calibration.frequencies.push_back(read.values[row]);
        calibration.levels.push_back(-double{read.values[read.rows + row]});
    }
    return calibration;
}

}  // namespace lumvex::app
