// What the lines above the numbers say about a calibrated microphone.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace lumvex::app {

// Feed it the header lines in turn. The wording of makers differs:
//     "Sens Factor =-1.23dB, AGain =18dB, SERNO: 7012345"
//     Sensitivity: -12,3 dBFS            Sensitivity at 1000 Hz in mV/Pa <tab> 12.34
//     * Serial Number: AB-1234           S/N 0815-17
// A line such as "*1000Hz -40.1" is a comment like any other: it does not say what its number is. The sensitivity of a
// loudspeaker (per watt, per 2.83 V) is not one of a microphone.
class CalibrationHeader {
public:
    void ReadLine(std::string_view line);

    // Whether the lines so far can only be those of a microphone calibration.
    bool IsCalibration() const;
    const std::optional<std::string>& SerialNumber() const { return serialNumber_; }
    const std::optional<double>& Sensitivity() const { return sensitivity_; }  // dB; mV/Pa as dB re 1 V/Pa

    // A comment that makes a file a calibration although it states neither of the two.
    static constexpr std::string_view kMark = "Microphone calibration:";

private:
    std::optional<std::string> serialNumber_;
    std::optional<double> sensitivity_;
    bool marked_ = false;
    bool aboutMicrophone_ = false;
};

}  // namespace lumvex::app
