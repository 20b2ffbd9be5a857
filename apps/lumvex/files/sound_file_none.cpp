// For builds without libsndfile.
#include "files/sound_file.hpp"

namespace lumvex::app {

MeasurementFile ReadSound(const std::filesystem::path& path, std::fstream&) {
    throw FileError(path, "this build reads no sound files");
}

void WriteSound(const std::filesystem::path& path, std::fstream&, const MeasurementFile&) {
    throw FileError(path, "this build writes no sound files");
}

}  // namespace lumvex::app
