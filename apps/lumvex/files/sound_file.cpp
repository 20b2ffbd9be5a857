#include "files/sound_file.hpp"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "files/sound_chunks.hpp"

namespace lumvex::app {

namespace {

constexpr std::size_t kBlock = 1 << 16;  // samples at a time
constexpr int kFormat = SF_FORMAT_WAV | SF_FORMAT_FLOAT;

struct Close {
    void operator()(SNDFILE* sound) const { sf_close(sound); }
};
using Sound = std::unique_ptr<SNDFILE, Close>;

// The library reads and writes through our stream, which opens every path the system can name and knows why it failed.
sf_count_t Length(void* stream) {
    auto& file = *static_cast<std::fstream*>(stream);
    file.clear();
    const auto here = file.tellg();
    file.seekg(0, std::ios::end);
    const auto length = file.tellg();
    file.seekg(here);
    return length;
}

sf_count_t Seek(sf_count_t offset, int whence, void* stream) {
    auto& file = *static_cast<std::fstream*>(stream);
    file.clear();
    file.seekg(offset, whence == SEEK_SET ? std::ios::beg : whence == SEEK_CUR ? std::ios::cur : std::ios::end);
    return file.tellg();
}

sf_count_t Read(void* bytes, sf_count_t count, void* stream) {
    auto& file = *static_cast<std::fstream*>(stream);
    file.clear();
    file.read(static_cast<char*>(bytes), count);
    return file.gcount();
}

sf_count_t Write(const void* bytes, sf_count_t count, void* stream) {
    auto& file = *static_cast<std::fstream*>(stream);
    return file.write(static_cast<const char*>(bytes), count) ? count : 0;
}

sf_count_t Tell(void* stream) { return static_cast<std::fstream*>(stream)->tellg(); }

Sound Open(std::fstream& stream, int mode, SF_INFO& info) {
    SF_VIRTUAL_IO access{Length, Seek, Read, Write, Tell};
    return Sound(sf_open_virtual(&access, mode, &info, &stream));
}

std::string Reason(SNDFILE* sound) {
    std::string reason = sf_strerror(sound);
    while (reason.ends_with('.') || reason.ends_with('\n')) reason.pop_back();
    return reason;
}

std::vector<float> ByColumn(std::vector<float> samples, std::size_t channels) {
    if (channels == 1) return samples;
    std::vector<float> columns(samples.size());
    const std::size_t rows = samples.size() / channels;
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t channel = 0; channel < channels; ++channel) {
            columns[channel * rows + row] = samples[row * channels + channel];
        }
    }
    return columns;
}

// Reads block by block instead of reserving for all samples, because the header of a compressed file may promise any
// length.
std::vector<float> ReadSamples(const std::filesystem::path& path, SNDFILE* sound, const SF_INFO& info) {
    const auto channels = static_cast<std::size_t>(info.channels);
    const std::size_t blockRows = std::max<std::size_t>(1, kBlock / channels);
    std::vector<float> samples;
    for (;;) {
        const std::size_t filled = samples.size();
        samples.resize(filled + blockRows * channels);
        const sf_count_t rows = sf_readf_float(sound, samples.data() + filled, static_cast<sf_count_t>(blockRows));
        samples.resize(filled + static_cast<std::size_t>(std::max<sf_count_t>(rows, 0)) * channels);
        if (sf_error(sound) != SF_ERR_NO_ERROR) throw FileError(path, Reason(sound));
        if (rows <= 0) break;
    }
    const auto rows = static_cast<sf_count_t>(samples.size() / channels);
    if (rows == 0) throw FileError(path, "the sound file holds no samples");
    if (info.frames < SF_COUNT_MAX && rows < info.frames) {
        throw FileError(path, 0, std::to_string(info.frames) + " samples per channel", std::to_string(rows));
    }
    return samples;
}

}  // namespace

MeasurementFile ReadSound(const std::filesystem::path& path, std::fstream& in) {
    if (const auto missing = MissingSamples(in, static_cast<std::uint64_t>(Length(&in))))
        throw FileError(path, *missing);
    Seek(0, SEEK_SET, &in);

    SF_INFO info{};
    const Sound sound = Open(in, SFM_READ, info);
    if (!sound) throw FileError(path, "not a sound file that can be read: " + Reason(nullptr));
    if (info.samplerate <= 0) throw FileError(path, 0, "a sample rate above 0", std::to_string(info.samplerate));

    MeasurementFile file;
    file.kind = MeasurementFile::Kind::Impulse;
    file.sampleRate = info.samplerate;
    file.columns = static_cast<std::size_t>(info.channels);
    file.values = ByColumn(ReadSamples(path, sound.get(), info), file.columns);
    file.rows = file.values.size() / file.columns;
    const auto bad = std::find_if_not(file.values.begin(), file.values.end(), [](float v) { return std::isfinite(v); });
    if (bad != file.values.end()) {
        const auto index = static_cast<std::size_t>(bad - file.values.begin());
        throw FileError(path, "sample " + std::to_string(index % file.rows + 1) + " of channel " +
                                  std::to_string(index / file.rows + 1) + " is not a finite number");
    }
    return file;
}

void WriteSound(const std::filesystem::path& path, std::fstream& out, const MeasurementFile& file) {
    SF_INFO info{};
    info.samplerate = file.sampleRate;
    info.channels = static_cast<int>(file.columns);
    info.format = kFormat;
    Sound sound = Open(out, SFM_WRITE, info);
    if (!sound) throw FileError(path, Reason(nullptr));
    // Leaves out the chunk of peaks, which holds the time of writing: the same table always makes the same file.
    sf_command(sound.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);

    const std::size_t blockRows = std::max<std::size_t>(1, kBlock / file.columns);
    std::vector<float> block;
    for (std::size_t row = 0; row < file.rows; row += blockRows) {
        const std::size_t rows = std::min(blockRows, file.rows - row);
        block.resize(rows * file.columns);
        for (std::size_t channel = 0; channel < file.columns; ++channel) {
            for (std::size_t i = 0; i < rows; ++i) {
                block[i * file.columns + channel] = file.values[channel * file.rows + row + i];
            }
        }
        const auto count = static_cast<sf_count_t>(rows);
        if (sf_writef_float(sound.get(), block.data(), count) != count) {
            throw FileError(path, out ? std::make_error_code(std::errc::io_error) : LastSystemError());
        }
    }
    sound.reset();  // writes the header's lengths
}

}  // namespace lumvex::app
