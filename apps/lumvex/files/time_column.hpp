// A column of times at an even step: the sample rate that it stands for, and the time of the first sample.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "files/text_header.hpp"

namespace lumvex::app {

class TimeColumn {
public:
    void Add(std::string_view field);  // in any unit

    // The row (from 0) whose time is not where an even step would have it, as far as its digits tell; none: all are.
    std::optional<std::size_t> UnevenRow() const;

    // The time between two samples; its uncertainty follows from the digits. Takes two rows.
    StatedNumber Step() const;

    double First() const { return times_.front().value; }
    std::size_t Rows() const { return times_.size(); }

private:
    double UncertaintyOf(std::size_t row) const;

    std::vector<StatedNumber> times_;
    double finest_ = 1;  // half a unit of the last digit of the number that has the most decimals
    int digits_ = 0;     // of the number that has the most
};

// The whole number of samples per second whose interval is this one. Where its digits allow several, a usual rate among
// them, or one that it gives exactly; else nothing.
[[nodiscard]] std::optional<std::int32_t> SampleRateOf(const StatedNumber& interval);

}  // namespace lumvex::app
