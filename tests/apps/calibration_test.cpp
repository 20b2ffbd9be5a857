#include "measurement_files.hpp"

namespace lumvex::app {
namespace {

TEST(Calibration, FindsSensitivityAndSerialNumberInTheHeadersOfManyMakers) {
    using Text = std::optional<std::string>;
    using Number = std::optional<double>;
    const struct {
        const char* header;
        Number sensitivity;
        Text serialNumber;
    } cases[] = {
        {"\"Sens Factor =-1.23dB, SERNO: 7012345\"", -1.23, "7012345"},
        {"\"Sens Factor =-.6162dB, AGain =18dB, SERNO: 7012345\"", -0.6162, "7012345"},
        {"\"Sens Factor =.5844dB, SERNO: 7012345\"\n\"90 degrees\"", 0.5844, "7012345"},
        {"Sensitivity: -12.3 dBFS", -12.3, {}},
        {"Sensitivity: -12,3 dBFS\nSeriennummer", -12.3, {}},
        {"* sensitivity at 1000 Hz: -38.5 dBV/Pa\n* S/N: AB-1234", -38.5, "AB-1234"},
        {"# SENSITIVITY (1 kHz) = -38 dB re 1V/Pa", -38.0, {}},
        {"Sensitivity at 1000 Hz in mV/Pa\t10", -40.0, {}},
        {"; Sensitivity: 10.0 mV/Pa; Serial Number: X.17/3.", -40.0, "X.17/3"},
        {"Sensitivity -41", -41.0, {}},
        {"Sens Factor = 3", 3.0, {}},
        {"Microphone 2, Serial No. 0042", {}, "0042"},
        {"Mic calibration\nserial #55-a", {}, "55-a"},
        {"SERNO: 7012345", {}, "7012345"},
        {"* Microphone calibration:", {}, {}},
    };
    const Folder folder;
    for (const auto& test : cases) {
        SCOPED_TRACE(test.header);
        const MeasurementFile file =
            ReadMeasurementFile(folder.Write("m.txt", std::string(test.header) + "\n20 -1\n21 0\n"));
        EXPECT_EQ(file.kind, MeasurementFile::Kind::Calibration);
        EXPECT_EQ(file.sensitivity, test.sensitivity);
        EXPECT_EQ(file.serialNumber, test.serialNumber);
        EXPECT_EQ(file.values, (std::vector<float>{20, 21, -1, 0}));
    }
}

TEST(Calibration, IsNotReadIntoTheHeaderOfAResponse) {
    const char* const headers[] = {
        "*1000Hz\t-40.1",
        "Sensitivity: 87.5 dB/W/m",
        "Sensitivity: 87 dB (2.83 V, 1 m)",
        "Sensitivity 87 dB SPL 1W/1m",
        "* S/N: 70 dB",
        "* S/N 70.5dB mic in phase",
        "* SN 5",
        "Analyzer serial number 12345",
        "* Mic calibration file: m1.txt",
        "Serial Port: COM3",
        "Insensitivity: -5 dB",
        "* see calibration_sensitivity_2023-05.txt",
        "Sensitivity high",
    };
    const Folder folder;
    for (const char* header : headers) {
        SCOPED_TRACE(header);
        const MeasurementFile file = ReadMeasurementFile(folder.Write("r.frd", std::string(header) + "\n20 1\n21 2\n"));
        EXPECT_EQ(file.kind, MeasurementFile::Kind::Response);
        EXPECT_FALSE(file.sensitivity);
        EXPECT_FALSE(file.serialNumber);
    }
    // A measurement may name its microphone, and has phases.
    for (const char* header : {"* Measurement data\n* Source: mic gain: 18dB (serial 7000042) mic cal 7000042.txt",
                               "* Measured with\n* Mic sensitivity: 12.3 mV/Pa"}) {
        const auto path = folder.Write("r.txt", std::string(header) + "\n20 1 2\n21 2 3\n");
        EXPECT_EQ(ReadMeasurementFile(path).kind, MeasurementFile::Kind::Response) << header;
        EXPECT_EQ(ReadMeasurementFile(path, {.as = MeasurementFile::Kind::Calibration}).kind,
                  MeasurementFile::Kind::Calibration);
    }
    // Text below the first numbers is no header. An extension may mark a calibration that no words do.
    EXPECT_EQ(ReadMeasurementFile(folder.Write("r.frd", "20 1\nSens Factor =-1dB\n21 2\n")).kind,
              MeasurementFile::Kind::Response);
    EXPECT_EQ(ReadMeasurementFile(folder.Write("r.CAL", "*1000Hz -40.1\n20 1\n")).kind,
              MeasurementFile::Kind::Calibration);
}

}  // namespace
}  // namespace lumvex::app
