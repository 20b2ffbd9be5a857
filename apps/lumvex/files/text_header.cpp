#include "files/text_header.hpp"

#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "files/loudspeakers.hpp"
#include "files/text_encoding.hpp"
#include "files/text_numbers.hpp"

namespace lumvex::app {

namespace {

constexpr std::size_t kLongestLine = 4096;  // what is farther to the right is not searched
constexpr std::size_t npos = std::string_view::npos;

bool IsWordPart(char c) { return IsLetter(c) || IsDigit(c) || c == '_'; }

// Where one of the words ends in the line (all lower case); npos: none is there as a whole word.
std::size_t EndOf(std::string_view lower, std::initializer_list<std::string_view> words) {
    for (const std::string_view word : words) {
        for (std::size_t at = lower.find(word); at != npos; at = lower.find(word, at + 1)) {
            const std::size_t end = at + word.size();
            if ((at == 0 || !IsWordPart(lower[at - 1])) && (end == lower.size() || !IsWordPart(lower[end]))) return end;
        }
    }
    return npos;
}

bool Has(std::string_view lower, std::initializer_list<std::string_view> words) { return EndOf(lower, words) != npos; }

// The field at the front of the text that could be a number.
std::string_view NumberAt(std::string_view text) {
    const std::size_t end = text.find_first_not_of("+-.,0123456789eEdD");
    std::string_view field = text.substr(0, end);
    while (!field.empty() && !IsDigit(field.back())) field.remove_suffix(1);
    return field;
}

// The number that the line states for the name that ends at a position: before "//" or else behind the name.
std::optional<StatedNumber> StatedFor(std::string_view line, std::size_t nameEnd) {
    const std::size_t mark = line.find("//");
    if (mark != npos && mark < nameEnd) {
        if (auto before = StatedNumberIn(Trimmed(line.substr(0, mark)))) return before;
    }
    std::string_view rest = line.substr(nameEnd);
    for (std::size_t at = 0; at < rest.size(); ++at) {
        const bool starts = IsDigit(rest[at]) || (std::string_view("+-.").find(rest[at]) != npos);
        if (!starts || (at != 0 && IsWordPart(rest[at - 1]))) continue;
        if (auto behind = StatedNumberIn(NumberAt(rest.substr(at)))) return behind;
    }
    return std::nullopt;
}

StatedNumber Scaled(StatedNumber number, double factor) { return {number.value * factor, number.uncertainty * factor}; }

std::optional<std::size_t> CountIn(const std::optional<StatedNumber>& number) {
    constexpr double kMost = 1e15;
    if (!number || number->value < 1 || number->value > kMost || number->value != std::floor(number->value))
        return std::nullopt;
    return static_cast<std::size_t>(number->value);
}

}  // namespace

std::optional<StatedNumber> StatedNumberIn(std::string_view field) {
    double value = 0;
    const NumberStyle style = field.find(',') == npos ? NumberStyle::Point : NumberStyle::Comma;
    if (ParseNumber(field, style, value) != NumberState::Good) return std::nullopt;
    const std::size_t exponentMark = std::min(field.find_first_of("eEdD"), field.size());
    const std::size_t mark = field.substr(0, exponentMark).find_first_of(".,");
    int last = mark == npos ? 0 : -static_cast<int>(exponentMark - mark - 1);  // power of ten of the last digit
    double exponent = 0;
    if (exponentMark < field.size() &&
        ParseNumber(field.substr(exponentMark + 1), NumberStyle::Point, exponent) == NumberState::Good)
        last += static_cast<int>(std::clamp(exponent, -400.0, 400.0));
    return StatedNumber{value, 0.5 * std::pow(10.0, last)};
}

void TextHeader::ReadLine(std::string_view line) {
    calibration_.ReadLine(line);
    if (text_.size() + line.size() < kMostText) text_ += ValidUtf8(line) + '\n';
    line = line.substr(0, kLongestLine);
    const std::string lower = Lowered(line);
    last_ = Trimmed(line);
    measurement_ |= Has(lower, {"measurement", "measured"});
    impulse_ |= Has(lower, {"impulse"});

    const auto take = [&](std::optional<StatedNumber>& to, std::initializer_list<std::string_view> names, auto factor) {
        const std::size_t end = EndOf(lower, names);
        if (end == npos || to) return;
        if (const auto stated = StatedFor(lower, end))
            to = Scaled(*stated, factor(std::string_view(lower).substr(end)));
    };
    const auto seconds = [](std::string_view behind) {
        return Has(behind, {"ms", "msec", "milliseconds"})        ? 1e-3
               : Has(behind, {"us", "\xC2\xB5s", "microseconds"}) ? 1e-6
                                                                  : 1;
    };
    const auto hertz = [](std::string_view behind) { return Has(behind, {"khz"}) ? 1e3 : 1; };
    const auto one = [](std::string_view) { return 1; };
    take(interval_, {"sample interval", "sampling interval", "sample period", "sampling period", "time step"}, seconds);
    take(rate_, {"sample rate", "sampling rate", "samplerate", "sampling frequency", "sample frequency"}, hertz);
    take(start_, {"start time"}, seconds);
    constexpr std::string_view kLoudspeakersMark = "loudspeakers:";
    if (const std::size_t at = lower.find(kLoudspeakersMark); at != npos && loudspeakers_.empty())
        loudspeakers_ = LoudspeakersIn(line.substr(at + kLoudspeakersMark.size()));
    std::optional<StatedNumber> length, channels;
    take(length, {"response length", "number of samples"}, one);
    take(channels, {"channels"}, one);
    if (const auto count = CountIn(length); count && !length_) length_ = count;
    if (const auto count = CountIn(channels); count && !channels_) channels_ = count;
}

bool TextHeader::NamesImpedance() const {
    return Has(Lowered(last_), {"ohm", "ohms", "impedance", "\xCE\xA9", "\xE2\x84\xA6"});
}

bool TextHeader::NamesKilohertz() const {
    const std::string lower = Lowered(last_);
    return Has(lower, {"khz"}) && Has(lower, {"freq", "frequency", "f"});
}

std::string_view TextHeader::NamesOther() const {
    const std::string lower = Lowered(last_);
    if (!Has(lower, {"freq", "frequency", "hz"})) return {};
    if (Has(lower, {"rad", "radians"})) return "phases in radians";
    if (Has(lower, {"group delay", "groupdelay", "gd"})) return "a group delay";
    if (Has(lower, {"real", "imag", "imaginary"})) return "real and imaginary parts";
    if (Has(lower, {"thd", "distortion"}) || lower.find('%') != npos) return "parts in percent";
    if (Has(lower, {"linear"})) return "linear levels";
    if (Has(lower, {"rt60", "t60", "t30", "t20", "edt"})) return "a reverberation time";
    return {};
}

std::optional<double> TextHeader::NamesTime() const {
    const std::string lower = Lowered(last_);
    if (!Has(lower, {"time"}) || Has(lower, {"freq", "frequency", "hz"})) return std::nullopt;
    return Has(lower, {"ms", "msec", "milliseconds"}) ? 1e-3 : 1;
}

}  // namespace lumvex::app
