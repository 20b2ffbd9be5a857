#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <string>

#include "files/loudspeakers.hpp"
#include "files/sound_file.hpp"
#include "files/text_encoding.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMostChannels = 1024;  // of libsndfile
constexpr std::size_t kMostFlacChannels = 8;
constexpr std::int32_t kFastestFlac = 655350;
constexpr std::uint64_t kMostBytes = 0xFFFFFF00;  // a .wav file counts its bytes, header included, in 32 bits

std::string Text(float value) {
    std::array<char, 32> digits;
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr};
}

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

bool KeepsLoudspeakers(const MeasurementFile& file, SoundFormat format) {
    if (file.loudspeakers.empty()) return true;
    return format == SoundFormat::Wav && file.columns > 2 && ChannelMaskOf(file.loudspeakers).has_value();
}

void CheckFitsSound(const fs::path& path, const MeasurementFile& file, SoundFormat format, SampleBits bits) {
    const bool isFlac = format == SoundFormat::Flac;
    const std::string what = isFlac ? "for a .flac file" : "for a .wav file";
    const auto refuse = [&](const std::string& expected, const std::string& found) {
        throw FileError(path, 0, expected + ' ' + what, found);
    };
    if (file.kind != MeasurementFile::Kind::Impulse)
        refuse("an impulse response", "a frequency response; .frd, .txt and .csv hold those");
    if (file.sampleRate <= 0) refuse("a sample rate above 0", std::to_string(file.sampleRate));
    if (isFlac && file.sampleRate > kFastestFlac)
        refuse("a sample rate of at most " + std::to_string(kFastestFlac), std::to_string(file.sampleRate));
    const std::size_t most = isFlac ? kMostFlacChannels : kMostChannels;
    if (file.columns > most) refuse("at most " + std::to_string(most) + " channels", std::to_string(file.columns));
    if (isFlac && (bits == SampleBits::Float || bits == SampleBits::Whole32))
        refuse("samples of 16 or 24 bits", bits == SampleBits::Float ? "floats" : "32 bits");
    if (!isFlac && file.values.size() > kMostBytes / sizeof(float))
        refuse("at most 4 GiB", std::to_string(file.values.size()) + " samples");
    if (bits == SampleBits::Float) return;
    const auto loud = std::ranges::find_if(file.values, [](float value) { return value < -1 || value > 1; });
    if (loud != file.values.end())
        refuse("samples from -1 to 1 (32-bit floats in a .wav file have no bounds)", Text(*loud));
}

}  // namespace lumvex::app
