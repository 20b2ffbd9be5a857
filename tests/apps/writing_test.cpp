#include <sys/resource.h>

#include <bit>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <limits>

#include "measurement_files.hpp"

namespace lumvex::app {
namespace {

using Kind = MeasurementFile::Kind;

bool SameBits(const std::vector<float>& a, const std::vector<float>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](float x, float y) {
        return std::bit_cast<std::uint32_t>(x) == std::bit_cast<std::uint32_t>(y);
    });
}

// Finite floats of every exponent, the extremes first.
std::vector<float> Floats(std::size_t count) {
    std::vector<float> floats{0.0f, -0.0f, 1e-45f, -1.17549421e-38f, 3.4028235e38f, 0.1f, 16777216.0f};
    std::mt19937 bits(7);
    while (floats.size() < count) {
        const auto value = std::bit_cast<float>(static_cast<std::uint32_t>(bits()));
        if (std::isfinite(value)) floats.push_back(value);
    }
    floats.resize(count);
    return floats;
}

TEST(Writing, GivesBackTheSameBits) {
    const struct {
        const char* name;
        Kind kind;
        std::size_t rows;
        std::size_t columns;
    } cases[] = {{"a.frd", Kind::Response, 1, 2},     {"b.TXT", Kind::Calibration, 20000, 3},
                 {"c.csv", Kind::Response, 20000, 3}, {"d.csv", Kind::Calibration, 5, 2},
                 {"e.wav", Kind::Impulse, 1, 1},      {"f.wav", Kind::Impulse, 65537, 3},
                 {"g.WAV", Kind::Impulse, 3, 1024}};
    const Folder folder;
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const MeasurementFile file = Table(test.kind, test.columns, Floats(test.rows * test.columns));
        WriteMeasurementFile(folder / test.name, file);
        const MeasurementFile again = ReadMeasurementFile(folder / test.name);
        EXPECT_EQ(again.kind, file.kind);
        EXPECT_EQ(again.rows, file.rows);
        EXPECT_EQ(again.columns, file.columns);
        EXPECT_EQ(again.sampleRate, file.sampleRate);
        EXPECT_TRUE(SameBits(again.values, file.values));
    }
}

TEST(Writing, KeepsWhatACalibrationSays) {
    const struct {
        std::optional<double> sensitivity;
        std::optional<std::string> serialNumber;
    } cases[] = {{-1.23, "7012345"}, {0.1 + 0.2, {}}, {-1e-7, "A_1/2-3.4"}, {{}, "7"}, {12.5, "S/N-5"}, {{}, {}}};
    const Folder folder;
    for (const auto& test : cases) {
        MeasurementFile file = Table(Kind::Calibration, 2, {20, 30, -1, 1});
        file.sensitivity = test.sensitivity;
        file.serialNumber = test.serialNumber;
        WriteMeasurementFile(folder / "m.txt", file);
        const MeasurementFile again = ReadMeasurementFile(folder / "m.txt");
        EXPECT_EQ(again.kind, Kind::Calibration);
        EXPECT_EQ(again.sensitivity, test.sensitivity);
        EXPECT_EQ(again.serialNumber, test.serialNumber);
    }
}

TEST(Writing, NamesTheColumns) {
    const Folder folder;
    MeasurementFile file = Table(Kind::Response, 3, {20, 30.5f, -1, 0.1f, 180, -90});
    WriteMeasurementFile(folder / "a.frd", file);
    EXPECT_EQ(Bytes(folder / "a.frd"), "* Frequency (Hz)\tLevel (dB)\tPhase (degrees)\n20\t-1\t180\n30.5\t0.1\t-90\n");
    file.kind = Kind::Calibration;
    file.sensitivity = -1.5;
    file.serialNumber = "X7";
    WriteMeasurementFile(folder / "a.csv", file);
    EXPECT_EQ(
        Bytes(folder / "a.csv"),
        "\"Sens Factor =-1.5dB, SERNO: X7\"\n* Frequency (Hz),Level (dB),Phase (degrees)\n20,-1,180\n30.5,0.1,-90\n");
}

TEST(Writing, RefusesWhatTheFormatCannotHoldAndLeavesTheOldFile) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    MeasurementFile wrongCount = Table(Kind::Response, 2, {1, 2, 3, 4});
    wrongCount.values.pop_back();
    MeasurementFile noRate = Table(Kind::Impulse, 1, {1});
    noRate.sampleRate = 0;
    MeasurementFile badSerial = Table(Kind::Calibration, 2, {1, 2});
    badSerial.serialNumber = "7, Sens Factor =5dB";
    MeasurementFile badSensitivity = Table(Kind::Calibration, 2, {1, 2});
    badSensitivity.sensitivity = std::numeric_limits<double>::infinity();
    const struct {
        const char* name;
        MeasurementFile file;
        const char* message;
    } cases[] = {
        {"a.txt", Table(Kind::Response, 4, {1, 2, 3, 4}),
         "expected 2 or 3 columns (frequency, level, phase) for a text file, found 4"},
        {"a.csv", Table(Kind::Response, 1, {1, 2}),
         "expected 2 or 3 columns (frequency, level, phase) for a text file, found 1"},
        {"a.frd", Table(Kind::Impulse, 2, {1, 2}),
         "expected a frequency response for a text file, found an impulse response; .wav holds those"},
        {"a.frd", Table(Kind::Response, 2, {}), "there are no values to write"},
        {"a.frd", Table(Kind::Response, 2, {1, 2, 3, nan}), "the value in row 2, column 2 is not a finite number"},
        {"a.frd", wrongCount, "expected 2 x 2 values, found 3"},
        {"a.frd", badSerial,
         "expected a serial number of letters, digits and - _ / . with at least one digit, found \"7, Sens Factor "
         "=5dB\""},
        {"a.frd", badSensitivity, "expected a finite sensitivity in dB, found infinity or NaN"},
        {"a.wav", noRate, "expected a sample rate above 0 for a .wav file, found 0"},
        {"a.wav", Table(Kind::Response, 2, {1, 2}),
         "expected an impulse response for a .wav file, found a frequency response; .frd, .txt and .csv hold those"},
        {"a.wav", Table(Kind::Impulse, 1025, std::vector<float>(1025)),
         "expected at most 1024 channels for a .wav file, found 1025"},
        {"a.wav", Table(Kind::Impulse, 1, {nan}), "the value in row 1, column 1 is not a finite number"},
        {"a.flac", Table(Kind::Impulse, 1, {1}), "expected the extension .frd, .txt, .csv or .wav, found \".flac\""},
        {"a", Table(Kind::Response, 2, {1, 2}), "expected the extension .frd, .txt, .csv or .wav, found none"},
    };
    const Folder folder;
    for (const auto& test : cases) {
        const std::filesystem::path path = folder.Write(test.name, "old");
        const std::size_t files = folder.Count();
        const auto error = ErrorOf([&] { WriteMeasurementFile(path, test.file); });
        ASSERT_TRUE(error) << test.message;
        EXPECT_EQ(error->what(), path.string() + ": " + test.message);
        EXPECT_EQ(Bytes(path), "old");
        EXPECT_EQ(folder.Count(), files);
    }
}

// Stands for a full disk: no file may grow beyond so many bytes.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : signal_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &old_);
        const rlimit limit{bytes, old_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &old_);
        std::signal(SIGXFSZ, signal_);
    }

private:
    rlimit old_{};
    void (*signal_)(int);
};

TEST(Writing, LeavesTheOldFileWhenTheNewOneCannotBeFinished) {
    const Folder folder;
    for (const char* name : {"a.frd", "a.csv", "a.wav"}) {
        const std::filesystem::path path = folder.Write(name, "old");
        const bool wav = path.extension() == ".wav";
        const MeasurementFile file = Table(wav ? Kind::Impulse : Kind::Response, 2, std::vector<float>(100000, 0.125f));
        for (rlim_t limit : {0, 1, 100, 5000, 390000}) {
            SCOPED_TRACE(std::string(name) + " within " + std::to_string(limit) + " bytes");
            std::optional<FileError> error;
            {
                const FileSizeLimit full(limit);
                error = ErrorOf([&] { WriteMeasurementFile(path, file); });
            }
            ASSERT_TRUE(error);
            EXPECT_EQ(error->what(), path.string() + ": File too large");
            EXPECT_EQ(Bytes(path), "old");
        }
        std::filesystem::remove(path);
    }
    EXPECT_EQ(folder.Count(), 0u);
}

TEST(Writing, ReplacesOnlyWhatMayBeReplaced) {
    const Folder folder;
    const MeasurementFile file = Table(Kind::Response, 2, {20, 1});
    const auto failure = [&](const std::filesystem::path& path) {
        const auto error = ErrorOf([&] { WriteMeasurementFile(path, file); });
        return error ? std::string(error->what()).substr(path.string().size()) : "no error";
    };
    std::filesystem::create_directory(folder / "directory.txt");
    EXPECT_EQ(failure(folder / "directory.txt"), ": Is a directory");
    EXPECT_EQ(failure(folder / "nowhere/a.txt"), ": No such file or directory");
    const std::filesystem::path locked = folder.Write("locked.txt", "old");
    std::filesystem::permissions(locked, std::filesystem::perms::owner_read);
    EXPECT_EQ(failure(locked), ": Permission denied");
    EXPECT_EQ(Bytes(locked), "old");

    // The file behind a link is replaced, and keeps its permissions; the longest name leaves no room for another.
    const std::string longest = std::string(251, 'n') + ".txt";
    const std::filesystem::path real = folder.Write(longest, "old");
    std::filesystem::permissions(real, std::filesystem::perms(0640));
    std::filesystem::create_symlink(longest, folder / "link.txt");
    EXPECT_EQ(failure(folder / "link.txt"), "no error");
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.txt"));
    EXPECT_EQ(ReadMeasurementFile(real).values, (std::vector<float>{20, 1}));
    EXPECT_EQ(std::filesystem::status(real).permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(folder.Count(), 4u);
}

}  // namespace
}  // namespace lumvex::app
