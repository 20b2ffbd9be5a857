// What the words above the numbers of a text file say of them.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "files/calibration_header.hpp"

namespace lumvex::app {

// A number that a header states, and half a unit of its last digit: how far from it the true value may be.
struct StatedNumber {
    double value = 0, uncertainty = 0;
};

// The number that a field holds, in any style; nothing where it is none.
[[nodiscard]] std::optional<StatedNumber> StatedNumberIn(std::string_view field);

// Feed it the header lines in turn. Programs state a number behind its name or before it:
//     * Sample interval: 2.0833333333333333E-5 s          0.5 // Peak value before normalisation
//     Start time (ms) = -1,25                             -0.125 // Start time (seconds)
class TextHeader {
public:
    void ReadLine(std::string_view line);

    const CalibrationHeader& Calibration() const { return calibration_; }
    const std::optional<StatedNumber>& Interval() const { return interval_; }  // between two samples, in seconds
    const std::optional<StatedNumber>& Rate() const { return rate_; }          // samples per second
    const std::optional<StatedNumber>& Start() const { return start_; }        // time of the first sample, in seconds
    const std::optional<std::size_t>& Length() const { return length_; }       // samples
    const std::optional<std::size_t>& Channels() const { return channels_; }
    // "Loudspeakers: FL FR FC", of the channels in their order.
    const std::vector<std::string>& Loudspeakers() const { return loudspeakers_; }
    bool IsOfMeasurement() const { return measurement_; }
    bool IsOfImpulse() const { return impulse_; }

    // The last line names the columns.
    const std::string& ColumnNames() const { return last_; }
    bool NamesImpedance() const;  // "Ohm" and its relatives
    bool NamesKilohertz() const;
    // What a table of frequencies has instead of levels in dB and phases in degrees: "a group delay"; empty: nothing.
    std::string_view NamesOther() const;
    std::optional<double> NamesTime() const;  // the unit of times in seconds: 1 or 0.001

    const std::string& Text() const { return text_; }  // all lines, at most kMostText bytes

    static constexpr std::size_t kMostText = 1 << 16;

private:
    CalibrationHeader calibration_;
    std::optional<StatedNumber> interval_, rate_, start_;
    std::optional<std::size_t> length_, channels_;
    std::vector<std::string> loudspeakers_;
    bool measurement_ = false, impulse_ = false;
    std::string last_, text_;
};

}  // namespace lumvex::app
