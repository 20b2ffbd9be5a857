#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "measurement_files.hpp"

namespace lumvex::app {
namespace {

// Interleaved samples that differ in every channel and row, within -1..1 and exact in 16 bits.
std::vector<float> Samples(std::size_t rows, int channels) {
    std::vector<float> samples(rows * static_cast<std::size_t>(channels));
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<float>(i * 2657 % 65535) / 32768.0f - 1.0f;
    return samples;
}

void WriteWithLibrary(const std::filesystem::path& path, int format, int rate, int channels,
                      const std::vector<float>& samples) {
    SF_INFO info{};
    info.format = format;
    info.samplerate = rate;
    info.channels = channels;
    SNDFILE* sound = sf_open(path.string().c_str(), SFM_WRITE, &info);
    ASSERT_NE(sound, nullptr) << sf_strerror(nullptr);
    const auto rows = static_cast<sf_count_t>(samples.size() / static_cast<std::size_t>(channels));
    const int encoding = format & SF_FORMAT_SUBMASK;
    if (encoding == SF_FORMAT_FLOAT || encoding == SF_FORMAT_DOUBLE) {
        EXPECT_EQ(sf_writef_float(sound, samples.data(), rows), rows);
    } else {
        // libsndfile would scale floats to 32767; written as integers, full scale stays what it is.
        std::vector<int> whole(samples.size());
        std::transform(samples.begin(), samples.end(), whole.begin(),
                       [](float sample) { return static_cast<int>(static_cast<double>(sample) * 2147483648.0); });
        EXPECT_EQ(sf_writef_int(sound, whole.data(), rows), rows);
    }
    sf_close(sound);
}

TEST(SoundFiles, ReadEverySampleFormatAndChannelCount) {
    const struct {
        const char* name;
        int format;
        int rate;
        int channels;
        std::size_t rows;
        float tolerance;
    } cases[] = {
        {"u8.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 8000, 1, 300, 1 / 128.0f},
        {"16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 2, 500, 0},
        {"24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 96000, 1, 70000, 0},
        {"32.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_32, 192000, 3, 65537, 0},
        {"float.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 48000, 64, 1025, 0},
        {"double.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 47999, 2, 1, 0},
        {"extensible.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, 48000, 8, 100, 0},
        {"adpcm.wav", SF_FORMAT_WAV | SF_FORMAT_MS_ADPCM, 48000, 1, 5000, 2},
        {"wide.wav", SF_FORMAT_RF64 | SF_FORMAT_FLOAT, 48000, 2, 100, 0},
        {"rifx.wav", SF_FORMAT_WAV | SF_ENDIAN_BIG | SF_FORMAT_PCM_16, 48000, 2, 101, 0},
        {"file.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 44100, 2, 333, 0},
        {"file.w64", SF_FORMAT_W64 | SF_FORMAT_PCM_24, 44100, 2, 333, 0},
        {"file.caf", SF_FORMAT_CAF | SF_FORMAT_FLOAT, 44100, 2, 333, 0},
        {"file.au", SF_FORMAT_AU | SF_FORMAT_PCM_16, 44100, 2, 333, 0},
        {"file.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 44100, 2, 9999, 0},
        {"sound-by-content.txt", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 1, 10, 0},
    };
    const Folder folder;
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const std::vector<float> samples = Samples(test.rows, test.channels);
        WriteWithLibrary(folder / test.name, test.format, test.rate, test.channels, samples);
        MeasurementFile file;
        if (const auto error = ErrorOf([&] { file = ReadMeasurementFile(folder / test.name); })) {
            ADD_FAILURE() << error->what();
            continue;
        }
        EXPECT_EQ(file.kind, MeasurementFile::Kind::Impulse);
        EXPECT_EQ(file.sampleRate, test.rate);
        EXPECT_EQ(file.columns, static_cast<std::size_t>(test.channels));
        // This codec writes whole blocks: it appends samples to the last one.
        if (test.tolerance < 1) {
            EXPECT_EQ(file.rows, test.rows);
        }
        ASSERT_EQ(file.values.size(), file.rows * file.columns);
        float worst = 0;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const float value = file.values[i % file.columns * file.rows + i / file.columns];
            worst = std::max(worst, std::abs(value - samples[i]));
        }
        EXPECT_LE(worst, test.tolerance);
    }
}

TEST(SoundFiles, KeepFloatsBeyondFullScale) {
    const Folder folder;
    WriteWithLibrary(folder / "loud.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 48000, 1, {1.5f, -3e10f, 1e-40f});
    EXPECT_EQ(ReadMeasurementFile(folder / "loud.wav").values, (std::vector<float>{1.5f, -3e10f, 1e-40f}));
}

TEST(SoundFiles, AreRefusedWhereverTheyAreCutShort) {
    const struct {
        const char* name;
        int format;
    } cases[] = {{"cut.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24},
                 {"cut-float.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT},
                 {"cut-wide.wav", SF_FORMAT_RF64 | SF_FORMAT_PCM_16},
                 {"cut-big.wav", SF_FORMAT_WAV | SF_ENDIAN_BIG | SF_FORMAT_PCM_16},
                 {"cut.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16},
                 {"cut.w64", SF_FORMAT_W64 | SF_FORMAT_PCM_16},
                 {"cut.caf", SF_FORMAT_CAF | SF_FORMAT_PCM_16},
                 {"cut.au", SF_FORMAT_AU | SF_FORMAT_PCM_16},
                 {"cut.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16}};
    const Folder folder;
    for (const auto& test : cases) {
        const std::filesystem::path path = folder / test.name;
        WriteWithLibrary(path, test.format, 48000, 2, Samples(64, 2));
        const std::string whole = Bytes(path);
        for (std::size_t length = 0; length < whole.size(); ++length) {
            folder.Write(test.name, whole.substr(0, length));
            const auto error = ReadError(path);
            if (!error) {
                ADD_FAILURE() << test.name << " cut to " << length << " of " << whole.size();
                break;
            }
            ASSERT_TRUE(std::string(error->what()).starts_with(path.string() + ": ")) << error->what();
        }
    }
}

TEST(SoundFiles, SayWhatIsWrongWithThem) {
    const Folder folder;
    WriteWithLibrary(folder / "good.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 1, Samples(10, 1));
    const std::string good = Bytes(folder / "good.wav");
    const std::size_t data = good.find("data");
    std::string streamed = good, unfinished = good;
    streamed.replace(data + 4, 4, "\xFF\xFF\xFF\xFF");
    unfinished.replace(data + 4, 4, std::string(4, '\0'));

    folder.Write("short.wav", good.substr(0, good.size() - 4));
    folder.Write("text.wav", "20 1\n21 2\n");
    folder.Write("unfinished.wav", unfinished.substr(0, data + 8));
    WriteWithLibrary(folder / "none.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 1, {});
    WriteWithLibrary(folder / "nan.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 48000, 2,
                     {0, 0, 0, std::numeric_limits<float>::quiet_NaN()});
    const struct {
        const char* name;
        const char* message;
    } cases[] = {
        {"short.wav", "the samples should take 20 bytes and only 16 are there"},
        {"text.wav", "not a sound file that can be read: "},
        {"none.wav", "the sound file holds no samples"},
        {"unfinished.wav", "the sound file holds no samples"},
        {"nan.wav", "sample 2 of channel 2 is not a finite number"},
    };
    for (const auto& test : cases) {
        const auto error = ReadError(folder / test.name);
        ASSERT_TRUE(error) << test.name;
        EXPECT_TRUE(std::string(error->what()).starts_with((folder / test.name).string() + ": " + test.message))
            << error->what();
    }
    // A header that was written before the length was known is not wrong: all samples that are there are read.
    folder.Write("streamed.wav", streamed);
    EXPECT_EQ(ReadMeasurementFile(folder / "streamed.wav").values, Samples(10, 1));
}

TEST(SoundFiles, GiveBackTheSameBits) {
    constexpr auto kImpulse = MeasurementFile::Kind::Impulse;
    ExpectSameBits(
        {{"e.wav", kImpulse, 1, 1, true}, {"f.wav", kImpulse, 65537, 3, true}, {"g.WAV", kImpulse, 3, 1024, true}});
}

TEST(SoundFiles, OfWholeNumbersGiveBackWhatTheBitsHold) {
    const Folder folder;
    const std::vector<float> exact{-1, 0.5f, -0.25f, 32767 / 32768.0f}, fine{0.1f, 0.7f, 1, -0.3f};
    const struct {
        const char* name;
        SampleBits bits;
        float step;
    } cases[] = {{"16.wav", SampleBits::Whole16, 0x1p-15f},
                 {"24.wav", SampleBits::Whole24, 0x1p-23f},
                 {"32.wav", SampleBits::Whole32, 0x1p-31f},
                 {"16.flac", SampleBits::Whole16, 0x1p-15f},
                 {"24.flac", SampleBits::Whole24, 0x1p-23f}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const auto written = [&](const std::vector<float>& values, std::size_t& rounded) {
            const MeasurementFile file = Table(MeasurementFile::Kind::Impulse, 2, values);
            rounded = WriteMeasurementFile(folder / test.name, file, {.bits = test.bits});
            return ReadMeasurementFile(folder / test.name).values;
        };
        std::size_t rounded = 1;
        EXPECT_EQ(written(exact, rounded), exact);
        EXPECT_EQ(rounded, 0u);
        const std::vector<float> again = written(fine, rounded);
        EXPECT_EQ(rounded, test.bits == SampleBits::Whole32 ? 1u : 4u);
        for (std::size_t i = 0; i < fine.size(); ++i) EXPECT_NEAR(again[i], fine[i], test.step) << i;
    }
}

TEST(SoundFiles, TellWhatIsRoundedOrLeftOut) {
    const Folder folder;
    const struct {
        const char* name;
        int format;
        std::vector<float> samples;
        const char* note;  // null: none
    } cases[] = {{"whole.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, {0.5f}, nullptr},
                 {"lossy.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, Samples(4096, 1), "compressed with loss (Vorbis)"},
                 {"short.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, Samples(100, 1), "compressed with loss (Vorbis)"}};
    for (const auto& test : cases) {
        WriteWithLibrary(folder / test.name, test.format, 48000, 1, test.samples);
        const MeasurementFile file = ReadMeasurementFile(folder / test.name);
        ASSERT_EQ(file.notes.size(), test.note ? 1u : 0u) << test.name;
        if (test.note) {
            EXPECT_NE(file.notes[0].find(test.note), std::string::npos) << file.notes[0];
        }
    }
    // 64-bit samples, and a chunk behind them.
    SF_INFO info{};
    info.format = SF_FORMAT_WAV | SF_FORMAT_DOUBLE;
    info.samplerate = 48000;
    info.channels = 1;
    SNDFILE* sound = sf_open((folder / "double.wav").string().c_str(), SFM_WRITE, &info);
    const double samples[] = {0.5, 0.1, 1.0 / 3};
    sf_writef_double(sound, samples, 3);
    sf_set_string(sound, SF_STR_TITLE, "On axis");
    sf_close(sound);
    const MeasurementFile file = ReadMeasurementFile(folder / "double.wav");
    EXPECT_EQ(file.rounded, 2u);
    EXPECT_EQ(file.notes, (std::vector<std::string>{"2 of 3 samples are rounded to 32-bit floats",
                                                    "what else it has is left out: \"LIST\""}));
}

// Other programs than libsndfile want the length of an extension behind the format of floats, and take a channel mask
// that libsndfile makes up for what the channels are.
TEST(SoundFiles, HaveTheFormatThatOtherProgramsExpect) {
    const Folder folder;
    const std::vector<std::string> surround{"FL", "FR", "FC", "LFE", "BL", "BR", "SL", "SR"};
    const struct {
        std::size_t channels;
        SampleBits bits;
        std::vector<std::string> loudspeakers;
        std::string_view format;          // from the length of the chunk to the number of channels
        std::optional<std::string> mask;  // of an extended format
    } cases[] = {{1, SampleBits::Float, {}, {"\x12\0\0\0\x03\0", 6}, {}},
                 {8, SampleBits::Float, {}, {"\x12\0\0\0\x03\0", 6}, {}},
                 {2, SampleBits::Whole16, {}, {"\x10\0\0\0\x01\0", 6}, {}},
                 {8, SampleBits::Whole24, {}, {"\x28\0\0\0\xFE\xFF", 6}, std::string(4, '\0')},
                 {8, SampleBits::Whole24, surround, {"\x28\0\0\0\xFE\xFF", 6}, std::string("\x3F\x06\0\0", 4)},
                 {8, SampleBits::Float, surround, {"\x28\0\0\0\xFE\xFF", 6}, std::string("\x3F\x06\0\0", 4)}};
    for (const auto& test : cases) {
        MeasurementFile file = Table(MeasurementFile::Kind::Impulse, test.channels, Samples(16, 8));
        file.loudspeakers = test.loudspeakers;
        WriteMeasurementFile(folder / "a.wav", file, {.bits = test.bits});
        const std::string bytes = Bytes(folder / "a.wav");
        EXPECT_EQ(bytes.substr(16, 6), test.format);
        if (test.mask) {
            EXPECT_EQ(bytes.substr(40, 4), *test.mask);
        }
        if (test.format[0] == '\x12') {
            EXPECT_EQ(bytes.substr(36, 6), std::string("\0\0fact", 6));
        }
        const MeasurementFile again = ReadMeasurementFile(folder / "a.wav");
        EXPECT_TRUE(SameBits(again.values, file.values));
        EXPECT_EQ(again.loudspeakers, test.loudspeakers);
        EXPECT_TRUE(again.notes.empty());
    }
    // As text they are a line of the header.
    MeasurementFile file = Table(MeasurementFile::Kind::Impulse, 8, Samples(16, 8));
    file.loudspeakers = surround;
    WriteMeasurementFile(folder / "a.csv", file);
    EXPECT_EQ(ReadMeasurementFile(folder / "a.csv").loudspeakers, surround);
}

TEST(SoundFiles, OfTheSamplesHoldTheDistancesTheyAreMadeFrom) {
    const struct {
        const char* name;
        std::int32_t rate;
        std::vector<double> distances;  // of the channels' loudspeakers, in metres
    } impulses[] = {{"impulse-left.wav", 48000, {2.40}},
                    {"impulse-right.wav", 96000, {2.46}},
                    {"impulse-stereo.wav", 44100, {2.40, 2.46}}};
    for (const auto& test : impulses) {
        const MeasurementFile file = ReadMeasurementFile(std::filesystem::path(LUMVEX_SAMPLES) / test.name);
        EXPECT_EQ(file.sampleRate, test.rate);
        ASSERT_EQ(file.columns, test.distances.size());
        for (std::size_t channel = 0; channel < file.columns; ++channel) {
            const float* samples0 = file.values.data() + channel * file.rows;
            std::size_t peak = 0;
            for (std::size_t i = 0; i < file.rows; ++i)
                peak = std::abs(samples0[i]) > std::abs(samples0[peak]) ? i : peak;
            EXPECT_NEAR(static_cast<double>(peak), test.distances[channel] / 343 * test.rate, 6) << test.name;
            EXPECT_NEAR(std::abs(samples0[peak]), 0.7f, 0.01f);
        }
    }
}

}  // namespace
}  // namespace lumvex::app
