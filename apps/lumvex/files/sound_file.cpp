#include "files/sound_file.hpp"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "files/loudspeakers.hpp"
#include "files/sound_chunks.hpp"
#include "files/wave_format.hpp"

namespace lumvex::app {

namespace {

constexpr std::size_t kSamplesAtATime = 1 << 16;

struct Close {
    void operator()(SNDFILE* sound) const { sf_close(sound); }
};
using Sound = std::unique_ptr<SNDFILE, Close>;

// The library reads and writes through our stream, which opens every path the system can name and knows why it failed.
sf_count_t Length(void* stream) {
    auto& file = *static_cast<std::iostream*>(stream);
    file.clear();
    const auto here = file.tellg();
    file.seekg(0, std::ios::end);
    const auto length = file.tellg();
    file.seekg(here);
    return length;
}

sf_count_t Seek(sf_count_t offset, int whence, void* stream) {
    auto& file = *static_cast<std::iostream*>(stream);
    file.clear();
    file.seekg(offset, whence == SEEK_SET ? std::ios::beg : whence == SEEK_CUR ? std::ios::cur : std::ios::end);
    const auto position = file.tellg();
    file.seekp(position);  // streams in memory have a second position for writing
    return position;
}

sf_count_t Read(void* bytes, sf_count_t count, void* stream) {
    auto& file = *static_cast<std::iostream*>(stream);
    file.clear();
    file.read(static_cast<char*>(bytes), count);
    const sf_count_t there = file.gcount();
    if (file.eof()) file.clear();  // the library asks where it is then, too
    return there;
}

sf_count_t Write(const void* bytes, sf_count_t count, void* stream) {
    auto& file = *static_cast<std::iostream*>(stream);
    if (!file.write(static_cast<const char*>(bytes), count)) return 0;
    file.seekg(file.tellp());
    return count;
}

sf_count_t Tell(void* stream) { return static_cast<std::iostream*>(stream)->tellg(); }

Sound Open(std::iostream& stream, int mode, SF_INFO& info) {
    SF_VIRTUAL_IO access{Length, Seek, Read, Write, Tell};
    return Sound(sf_open_virtual(&access, mode, &info, &stream));
}

std::string Reason(SNDFILE* sound) {
    std::string reason = sf_strerror(sound);
    while (reason.ends_with('.') || reason.ends_with('\n')) reason.pop_back();
    return reason;
}

// Takes samples as they come, channel by channel for each point in time, and keeps them in columns. The header of a
// compressed file may promise any length, and so space is reserved only for what the file can hold.
class Columns {
public:
    Columns(std::size_t channels, std::size_t rows) : channels_(channels), reserved_(rows), values_(channels * rows) {}

    void Add(std::span<const double> samples) {
        const std::size_t rows = samples.size() / channels_;
        if (filled_ + rows > reserved_) Reserve(std::max(filled_ + rows, 2 * reserved_));
        for (std::size_t at = 0; at < samples.size(); ++at) {
            const auto value = static_cast<float>(samples[at]);
            rounded_ += !(static_cast<double>(value) == samples[at]) && !std::isnan(samples[at]);
            values_[at % channels_ * reserved_ + filled_ + at / channels_] = value;
        }
        filled_ += rows;
    }

    std::size_t Rows() const { return filled_; }
    std::size_t Rounded() const { return rounded_; }  // samples that are no 32-bit floats

    std::vector<float> Take() {
        if (reserved_ != filled_) Reserve(filled_);
        return std::move(values_);
    }

private:
    void Reserve(std::size_t rows) {
        std::vector<float> grown(channels_ * rows);
        for (std::size_t channel = 0; channel < channels_; ++channel) {
            const auto from = values_.begin() + static_cast<std::ptrdiff_t>(channel * reserved_);
            std::copy(from, from + static_cast<std::ptrdiff_t>(filled_),
                      grown.begin() + static_cast<std::ptrdiff_t>(channel * rows));
        }
        values_ = std::move(grown);
        reserved_ = rows;
    }

    std::size_t channels_, reserved_, filled_ = 0, rounded_ = 0;
    std::vector<float> values_;
};

Columns ReadSamples(const std::filesystem::path& path, SNDFILE* sound, const SF_INFO& info, std::uint64_t length) {
    constexpr std::uint64_t kMostPerByte = 16;  // samples; more only of silence, which takes some moves then
    const auto channels = static_cast<std::size_t>(info.channels);
    const bool known = info.frames > 0 && info.frames < SF_COUNT_MAX;
    const std::uint64_t promised = known ? static_cast<std::uint64_t>(info.frames) : 0;
    const std::size_t blockRows = std::max<std::size_t>(1, kSamplesAtATime / channels);
    Columns columns(channels, static_cast<std::size_t>(std::min(promised, kMostPerByte * length / channels)));
    std::vector<double> block(blockRows * channels);
    for (;;) {
        const sf_count_t rows = sf_readf_double(sound, block.data(), static_cast<sf_count_t>(blockRows));
        if (sf_error(sound) != SF_ERR_NO_ERROR) throw FileError(path, Reason(sound));
        if (rows <= 0) break;
        columns.Add(std::span(block).first(static_cast<std::size_t>(rows) * channels));
    }
    if (columns.Rows() == 0) throw FileError(path, "the sound file holds no samples");
    // How much of the last frame of MPEG is padding is a matter of the decoder.
    constexpr std::uint64_t kMpegFrame = 1152;
    const bool isMpeg = (info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_MPEG;
    if (known && columns.Rows() + (isMpeg ? kMpegFrame : 0) < promised) {
        throw FileError(path, 0, std::to_string(info.frames) + " samples per channel", std::to_string(columns.Rows()));
    }
    return columns;
}

// What kind of loss the format itself has; empty: none.
std::string LossOf(int format) {
    switch (format & SF_FORMAT_SUBMASK) {
        case SF_FORMAT_MPEG_LAYER_I:
        case SF_FORMAT_MPEG_LAYER_II:
        case SF_FORMAT_MPEG_LAYER_III:
            return "MPEG";
        case SF_FORMAT_VORBIS:
            return "Vorbis";
        case SF_FORMAT_OPUS:
            return "Opus";
        case SF_FORMAT_MS_ADPCM:
        case SF_FORMAT_IMA_ADPCM:
        case SF_FORMAT_VOX_ADPCM:
            return "ADPCM";
        case SF_FORMAT_GSM610:
            return "GSM 6.10";
        default:
            return {};
    }
}

// More channels than two go into the extended header, which says what they are for or that this is not known. Floats
// need it for the first alone: they are then read without a warning by programs that misread it.
int FormatOf(SoundFormat format, SampleBits bits, const MeasurementFile& file) {
    const bool isExtended = file.columns > 2 && (bits != SampleBits::Float || !file.loudspeakers.empty());
    const int container = format == SoundFormat::Flac ? SF_FORMAT_FLAC : isExtended ? SF_FORMAT_WAVEX : SF_FORMAT_WAV;
    switch (bits) {
        case SampleBits::Whole16:
            return container | SF_FORMAT_PCM_16;
        case SampleBits::Whole24:
            return container | SF_FORMAT_PCM_24;
        case SampleBits::Whole32:
            return container | SF_FORMAT_PCM_32;
        case SampleBits::Float:
            break;
    }
    return container | SF_FORMAT_FLOAT;
}

// The name of a channel's loudspeaker, by libsndfile's numbers; some formats use other numbers for the same one. Empty
// where it has no name.
std::string LoudspeakerOf(int channel) {
    constexpr std::pair<int, int> kChannels[] = {
        {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_FRONT_LEFT},
        {SF_CHANNEL_MAP_RIGHT, SF_CHANNEL_MAP_FRONT_RIGHT},
        {SF_CHANNEL_MAP_CENTER, SF_CHANNEL_MAP_FRONT_CENTER},
        {SF_CHANNEL_MAP_LFE, SF_CHANNEL_MAP_LFE},
        {SF_CHANNEL_MAP_REAR_LEFT, SF_CHANNEL_MAP_REAR_LEFT},
        {SF_CHANNEL_MAP_REAR_RIGHT, SF_CHANNEL_MAP_REAR_RIGHT},
        {SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER, SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER},
        {SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER, SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER},
        {SF_CHANNEL_MAP_REAR_CENTER, SF_CHANNEL_MAP_REAR_CENTER},
        {SF_CHANNEL_MAP_SIDE_LEFT, SF_CHANNEL_MAP_SIDE_LEFT},
        {SF_CHANNEL_MAP_SIDE_RIGHT, SF_CHANNEL_MAP_SIDE_RIGHT},
        {SF_CHANNEL_MAP_TOP_CENTER, SF_CHANNEL_MAP_TOP_CENTER},
        {SF_CHANNEL_MAP_TOP_FRONT_LEFT, SF_CHANNEL_MAP_TOP_FRONT_LEFT},
        {SF_CHANNEL_MAP_TOP_FRONT_CENTER, SF_CHANNEL_MAP_TOP_FRONT_CENTER},
        {SF_CHANNEL_MAP_TOP_FRONT_RIGHT, SF_CHANNEL_MAP_TOP_FRONT_RIGHT},
        {SF_CHANNEL_MAP_TOP_REAR_LEFT, SF_CHANNEL_MAP_TOP_REAR_LEFT},
        {SF_CHANNEL_MAP_TOP_REAR_CENTER, SF_CHANNEL_MAP_TOP_REAR_CENTER},
        {SF_CHANNEL_MAP_TOP_REAR_RIGHT, SF_CHANNEL_MAP_TOP_REAR_RIGHT}};
    static_assert(std::size(kChannels) == std::size(kLoudspeakers));
    const auto known = std::ranges::find_if(
        kChannels, [&](const auto& each) { return each.first == channel || each.second == channel; });
    return known == std::end(kChannels) ? "" : std::string(kLoudspeakers[known - std::begin(kChannels)]);
}

// What the channels are for, where the file has more than two and says it.
void TakeLoudspeakers(SNDFILE* sound, const SF_INFO& info, MeasurementFile& file) {
    std::vector<int> channels(static_cast<std::size_t>(info.channels));
    const int size = static_cast<int>(channels.size() * sizeof(int));
    if (info.channels <= 2 || sf_command(sound, SFC_GET_CHANNEL_MAP_INFO, channels.data(), size) != SF_TRUE) return;
    if (std::ranges::count(channels, SF_CHANNEL_MAP_INVALID) == info.channels) return;
    std::vector<std::string> loudspeakers;
    std::ranges::transform(channels, std::back_inserter(loudspeakers), LoudspeakerOf);
    if (std::ranges::find(loudspeakers, "") == loudspeakers.end()) {
        file.loudspeakers = std::move(loudspeakers);
    } else {
        file.notes.push_back("the loudspeakers of its channels are left out");
    }
}

// The sample as an integer of 32 bits of which only the first are used; full scale, 1, becomes the largest one.
int Whole(float value, int bits, std::size_t& rounded) {
    const double scaled = std::ldexp(static_cast<double>(value), bits - 1);
    const double whole = std::min(std::nearbyint(scaled), std::ldexp(1.0, bits - 1) - 1);
    rounded += whole != scaled;
    return static_cast<int>(std::ldexp(whole, 32 - bits));
}

}  // namespace

MeasurementFile ReadSound(const std::filesystem::path& path, std::iostream& in) {
    const auto length = static_cast<std::uint64_t>(Length(&in));
    if (const auto missing = MissingSamples(in, length)) throw FileError(path, *missing);
    const std::vector<std::string> others = OtherChunks(in, length);
    Seek(0, SEEK_SET, &in);

    SF_INFO info{};
    const Sound sound = Open(in, SFM_READ, info);
    if (!sound) throw FileError(path, "not a sound file that can be read: " + Reason(nullptr));
    if (info.samplerate <= 0) throw FileError(path, 0, "a sample rate above 0", std::to_string(info.samplerate));

    MeasurementFile file;
    file.kind = MeasurementFile::Kind::Impulse;
    file.sampleRate = info.samplerate;
    file.columns = static_cast<std::size_t>(info.channels);
    Columns columns = ReadSamples(path, sound.get(), info, length);
    file.rows = columns.Rows();
    file.rounded = columns.Rounded();
    file.values = columns.Take();
    if (const std::string loss = LossOf(info.format); !loss.empty()) {
        file.notes.push_back("the samples were compressed with loss (" + loss + ")");
    } else if (file.rounded != 0) {
        file.notes.push_back(std::to_string(file.rounded) + " of " + std::to_string(file.values.size()) +
                             " samples are rounded to 32-bit floats");
    }
    TakeLoudspeakers(sound.get(), info, file);
    if (!others.empty()) {
        std::string names;
        for (const std::string& each : others) names += (names.empty() ? "" : ", ") + Quoted(each);
        file.notes.push_back("what else it has is left out: " + names);
    }
    const auto bad = std::find_if_not(file.values.begin(), file.values.end(), [](float v) { return std::isfinite(v); });
    if (bad != file.values.end()) {
        const auto index = static_cast<std::size_t>(bad - file.values.begin());
        throw FileError(path, "sample " + std::to_string(index % file.rows + 1) + " of channel " +
                                  std::to_string(index / file.rows + 1) + " is not a finite number");
    }
    return file;
}

std::size_t WriteSound(const std::filesystem::path& path, std::iostream& out, const MeasurementFile& file,
                       SoundFormat format, SampleBits bits) {
    SF_INFO info{};
    info.samplerate = file.sampleRate;
    info.channels = static_cast<int>(file.columns);
    info.format = FormatOf(format, bits, file);
    Sound sound = Open(out, SFM_WRITE, info);
    if (!sound) throw FileError(path, Reason(nullptr));
    // Leaves out the chunk of peaks, which holds the time of writing: the same table always makes the same file.
    sf_command(sound.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);

    const std::size_t blockRows = std::max<std::size_t>(1, kSamplesAtATime / file.columns);
    const int width = bits == SampleBits::Whole16 ? 16 : bits == SampleBits::Whole24 ? 24 : 32;
    std::size_t rounded = 0;
    std::vector<float> block;
    std::vector<int> whole;
    for (std::size_t row = 0; row < file.rows; row += blockRows) {
        const std::size_t rows = std::min(blockRows, file.rows - row);
        block.resize(rows * file.columns);
        for (std::size_t channel = 0; channel < file.columns; ++channel) {
            for (std::size_t i = 0; i < rows; ++i) {
                block[i * file.columns + channel] = file.values[channel * file.rows + row + i];
            }
        }
        const auto count = static_cast<sf_count_t>(rows);
        sf_count_t written = 0;
        if (bits == SampleBits::Float) {
            written = sf_writef_float(sound.get(), block.data(), count);
        } else {
            whole.resize(block.size());
            std::ranges::transform(block, whole.begin(), [&](float value) { return Whole(value, width, rounded); });
            written = sf_writef_int(sound.get(), whole.data(), count);
        }
        if (written != count)
            throw FileError(path, out ? std::make_error_code(std::errc::io_error) : LastSystemError());
    }
    sound.reset();  // writes the header's lengths
    if (format == SoundFormat::Wav) CompleteWaveFormat(out, ChannelMaskOf(file.loudspeakers).value_or(0));
    return rounded;
}

}  // namespace lumvex::app
