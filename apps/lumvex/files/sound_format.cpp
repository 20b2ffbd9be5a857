#include <algorithm>
#include <iterator>
#include <string>

#include "files/sound_file.hpp"
#include "files/text_encoding.hpp"

namespace lumvex::app {

namespace {

constexpr int kMostChannels = 1024;               // of libsndfile
constexpr std::uint64_t kMostBytes = 0xFFFFFF00;  // a .wav file counts its bytes, header included, in 32 bits

}  // namespace

bool IsSound(std::string_view beginning, const std::filesystem::path& path) {
    for (std::string_view sign : {"RIFF", "RIFX", "RF64", "riff", "fLaC", "OggS", "caff", ".snd"}) {
        if (beginning.starts_with(sign)) return true;
    }
    if (beginning.starts_with("FORM") &&
        beginning.substr(std::min<std::size_t>(8, beginning.size())).starts_with("AIF")) {
        return true;
    }
    constexpr std::string_view kExtensions[] = {".wav", ".wave", ".rf64", ".w64",  ".aif", ".aiff", ".aifc",
                                                ".au",  ".snd",  ".caf",  ".flac", ".ogg", ".opus", ".mp3"};
    return std::find(std::begin(kExtensions), std::end(kExtensions), LowerExtension(path)) != std::end(kExtensions);
}

void CheckFitsSound(const std::filesystem::path& path, const MeasurementFile& file) {
    if (file.kind != MeasurementFile::Kind::Impulse) {
        throw FileError(path, 0, "an impulse response for a .wav file",
                        "a frequency response; .frd, .txt and .csv hold those");
    }
    if (file.sampleRate <= 0) {
        throw FileError(path, 0, "a sample rate above 0 for a .wav file", std::to_string(file.sampleRate));
    }
    if (file.columns > kMostChannels) {
        throw FileError(path, 0, "at most " + std::to_string(kMostChannels) + " channels for a .wav file",
                        std::to_string(file.columns));
    }
    if (file.values.size() > kMostBytes / sizeof(float)) {
        throw FileError(path, 0, "at most 4 GiB for a .wav file", std::to_string(file.values.size()) + " samples");
    }
}

}  // namespace lumvex::app
