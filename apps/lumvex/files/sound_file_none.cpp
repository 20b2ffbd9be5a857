// For builds without libsndfile.
#include "files/sound_file.hpp"

namespace lumvex::app {

MeasurementFile ReadSound(const std::filesystem::path& path, std::iostream&) {
    throw FileError(path, "this build reads no sound files");
}

std::size_t WriteSound(const std::filesystem::path& path, std::iostream&, const MeasurementFile&, SoundFormat,
                       SampleBits) {
    throw FileError(path, "this build writes no sound files");
}

}  // namespace lumvex::app
