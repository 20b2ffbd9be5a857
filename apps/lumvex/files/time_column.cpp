#include "files/time_column.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "files/text_numbers.hpp"

namespace lumvex::app {

namespace {

constexpr double kArithmetic = 1e-9;  // relative: what the sums of a program add to the error of the digits
constexpr double kMostUneven = 0.05;  // of the step, however few digits there are
constexpr std::int32_t kUsualRates[] = {8000,  11025, 12000, 16000, 22050,  24000,  32000,  44100,
                                        48000, 64000, 88200, 96000, 176400, 192000, 352800, 384000};

}  // namespace

void TimeColumn::Add(std::string_view field) {
    const StatedNumber number =
        StatedNumberIn(field).value_or(StatedNumber{std::numeric_limits<double>::quiet_NaN(), 1});
    finest_ = times_.empty() ? number.uncertainty : std::min(finest_, number.uncertainty);
    const std::string_view mantissa = field.substr(0, std::min(field.find_first_of("eEdD"), field.size()));
    const std::size_t first = std::min(mantissa.find_first_of("123456789"), mantissa.size());
    const auto digits = std::count_if(mantissa.begin() + static_cast<std::ptrdiff_t>(first), mantissa.end(), IsDigit);
    digits_ = std::max(digits_, static_cast<int>(digits));
    times_.push_back(number);
}

// Zeros at the end of a number may have been left out, so that its own digits tell less than those of the others: of a
// fixed number of decimals, or of a fixed number of digits.
double TimeColumn::UncertaintyOf(std::size_t row) const {
    const double value = std::abs(times_[row].value);
    if (value == 0) return finest_;
    const double ofDigits = 0.5 * std::pow(10.0, std::floor(std::log10(value)) + 1 - digits_);
    return std::min(times_[row].uncertainty, std::max(finest_, ofDigits)) + kArithmetic * value;
}

StatedNumber TimeColumn::Step() const {
    const auto steps = static_cast<double>(times_.size() - 1);
    const double step = (times_.back().value - times_.front().value) / steps;
    return {step, (UncertaintyOf(times_.size() - 1) + UncertaintyOf(0)) / steps};
}

std::optional<std::size_t> TimeColumn::UnevenRow() const {
    const double first = First(), step = Step().value;
    for (std::size_t row = 1; row < times_.size(); ++row) {
        const double expected = first + step * static_cast<double>(row);
        const double allowed = std::min(UncertaintyOf(row) + 2 * UncertaintyOf(0), kMostUneven * step);
        if (!(std::abs(times_[row].value - expected) <= std::max(allowed, 1e-6 * step))) return row;
    }
    return std::nullopt;
}

std::optional<std::int32_t> SampleRateOf(const StatedNumber& interval) {
    constexpr double kFastest = 1e9;
    constexpr double kSmallest = 1e-7,
                     kMostUncertain = 0.03;  // relative; usual rates are farther apart than the latter
    if (!(interval.value > 1 / kFastest)) return std::nullopt;
    const double rate = 1 / interval.value;
    const double uncertainty = rate * std::clamp(interval.uncertainty / interval.value, kSmallest, kMostUncertain);
    const double whole = std::round(rate);
    if (uncertainty < 0.5 && whole >= 1 && std::abs(rate - whole) <= uncertainty)
        return static_cast<std::int32_t>(whole);
    const auto within = [&](double wanted) { return std::abs(rate - wanted) <= uncertainty; };
    const auto* usual = std::ranges::find_if(kUsualRates, within);
    if (usual != std::end(kUsualRates)) return *usual;
    if (whole >= 1 && std::abs(rate - whole) <= rate * kSmallest) return static_cast<std::int32_t>(whole);
    return std::nullopt;
}

}  // namespace lumvex::app
