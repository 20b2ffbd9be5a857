#include <limits>

#include "measurement_files.hpp"

namespace lumvex::app {
namespace {

using Kind = MeasurementFile::Kind;

TEST(Writing, GivesBackTheSameBits) {
    ExpectSameBits({{"a.frd", Kind::Response, 1, 2},
                    {"b.TXT", Kind::Calibration, 20000, 3},
                    {"c.csv", Kind::Response, 20000, 3},
                    {"d.csv", Kind::Calibration, 5, 2},
                    {"e.txt", Kind::Impulse, 5, 1},
                    {"f.csv", Kind::Impulse, 20000, 3},
                    {"g.txt", Kind::Data, 20000, 1},
                    {"h.csv", Kind::Data, 3, 256}});
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
        {"a.frd", noRate, "expected a sample rate above 0 for an impulse response, found 0"},
        {"a.txt", Table(Kind::Data, 257, std::vector<float>(257)),
         "expected at most 256 columns for a text file, found 257"},
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
        {"a.flac", Table(Kind::Impulse, 9, std::vector<float>(9)),
         "expected at most 8 channels for a .flac file, found 9"},
        {"a.flac", Table(Kind::Impulse, 1, {1.5f}),
         "expected samples from -1 to 1 (32-bit floats in a .wav file have no bounds) for a .flac file, found 1.5"},
        {"a.mp3", Table(Kind::Impulse, 1, {1}),
         "expected the extension .frd, .txt, .csv, .wav or .flac, found \".mp3\""},
        {"a", Table(Kind::Response, 2, {1, 2}), "expected the extension .frd, .txt, .csv, .wav or .flac, found none"},
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

}  // namespace
}  // namespace lumvex::app
