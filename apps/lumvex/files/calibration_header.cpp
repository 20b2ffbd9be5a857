#include "files/calibration_header.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <system_error>

#include "files/text_numbers.hpp"
#include "read_real.hpp"

namespace lumvex::app {

namespace {

constexpr std::size_t kLongestLine = 4096;  // what is farther to the right is not searched
constexpr std::size_t npos = std::string_view::npos;

bool IsWordPart(char c) { return IsLetter(c) || IsDigit(c) || c == '_'; }

// Where the word (all lower case) begins in the line, at the beginning of a word; npos if nowhere.
std::size_t FindWord(std::string_view lower, std::string_view word) {
    for (std::size_t at = lower.find(word); at != npos; at = lower.find(word, at + 1)) {
        if (at == 0 || !IsWordPart(lower[at - 1])) return at;
    }
    return npos;
}

// A number at the front of the text, decimal comma included; what follows it is left in the text.
std::optional<double> TakeNumber(std::string_view& text) {
    std::size_t length = 0;
    std::string number;
    const auto digits = [&] {
        while (length < text.size() && IsDigit(text[length])) number += text[length++];
    };
    if (text.starts_with('+')) ++length;
    if (text.starts_with('-')) number += text[length++];
    digits();
    const bool mark = length < text.size() && (text[length] == '.' || text[length] == ',');
    if (mark && length + 1 < text.size() && IsDigit(text[length + 1])) {
        number += '.';
        ++length;
        digits();
    }
    if (number.empty() || !IsDigit(number.back())) return std::nullopt;
    if (length + 1 < text.size() && text[length] == 'e' && (text[length + 1] == '-' || IsDigit(text[length + 1]))) {
        number += text[length++];
        number += text[length++];
        digits();
    }
    text.remove_prefix(length);
    double value = 0;
    const auto [end, error] = inside::ReadReal(number.data(), number.data() + number.size(), value);
    if (error != std::errc{} || end != number.data() + number.size()) return std::nullopt;
    return value;
}

// "dB SPL (1 W, 1 m)" and its relatives.
bool IsOfLoudspeaker(std::string_view unit) {
    for (std::string_view sign : {"watt", "2.83", "2,83", "/w", "1w", "1 w"}) {
        if (unit.find(sign) != npos) return true;
    }
    return false;
}

// Finds the sensitivity in the text after its keyword: the first number that is not a frequency and has a fitting unit
// after it, or before it ("in mV/Pa 12.34"). A number without a unit is accepted after "factor", and where it is
// negative, because no loudspeaker has a negative sensitivity.
std::optional<double> FindSensitivity(std::string_view rest, bool bareAllowed) {
    bool millivolts = false;
    while (!rest.empty()) {
        const bool numberStart =
            IsDigit(rest.front()) || rest.front() == '-' || rest.front() == '+' || rest.front() == '.';
        if (!numberStart) {
            const std::size_t word = std::find_if_not(rest.begin(), rest.end(), IsWordPart) - rest.begin();
            if (rest.starts_with("mv")) millivolts = true;
            rest.remove_prefix(std::max<std::size_t>(word, 1));
            continue;
        }
        std::string_view after = rest;
        const std::optional<double> number = TakeNumber(after);
        if (!number) {
            rest.remove_prefix(1);
            continue;
        }
        rest = after;
        const std::string_view unit = Trimmed(after);
        const bool bare = unit.empty() || unit.find_first_of(",;\"") == 0;
        if (unit.starts_with("db")) return IsOfLoudspeaker(unit) ? std::nullopt : number;
        if (unit.starts_with("mv") || (millivolts && bare)) {
            if (*number <= 0 || IsOfLoudspeaker(unit)) return std::nullopt;
            return 20 * std::log10(*number / 1000);
        }
        if (bare && (bareAllowed || *number < 0)) return number;
    }
    return std::nullopt;
}

// Finds the serial number in the text after its keyword. A word without a digit is part of a sentence, not a number.
std::optional<std::string> FindSerialNumber(std::string_view rest) {
    rest = Trimmed(rest);
    while (!rest.empty() &&
           (rest.front() == ':' || rest.front() == '=' || rest.front() == '#' || rest.front() == '.')) {
        rest = Trimmed(rest.substr(1));
    }
    const auto belongs = [](char c) {
        return IsLetter(c) || IsDigit(c) || c == '-' || c == '_' || c == '/' || c == '.';
    };
    std::string_view serial = rest.substr(0, std::find_if_not(rest.begin(), rest.end(), belongs) - rest.begin());
    while (serial.ends_with('.')) serial.remove_suffix(1);
    if (std::none_of(serial.begin(), serial.end(), IsDigit)) return std::nullopt;
    return std::string(serial);
}

// "S/N: 70 dB" is a signal-to-noise ratio.
bool IsRatio(std::string_view lowerRest, std::string_view serial) {
    const std::size_t at = lowerRest.find_first_of("0123456789");
    std::string_view after = lowerRest.substr(at);
    return serial.size() < 3 || serial.ends_with("dB") || !TakeNumber(after) || Trimmed(after).starts_with("db");
}

struct SerialKeyword {
    std::string_view word;
    bool alsoRatio;
};

constexpr SerialKeyword kSerialKeywords[] = {{"serno", false},     {"serial number", false}, {"serial no", false},
                                             {"serial nr", false}, {"serialnumber", false},  {"serial-number", false},
                                             {"serialno", false},  {"serial", false},        {"s/n", true},
                                             {"sn", true}};

}  // namespace

void CalibrationHeader::ReadLine(std::string_view line) {
    line = line.substr(0, kLongestLine);
    std::string lowered(line);
    std::transform(lowered.begin(), lowered.end(), lowered.begin(), Lower);
    const std::string_view lower = lowered;

    if (line.find(kMark) != npos) marked_ = true;
    if (FindWord(lower, "mic") != npos || FindWord(lower, "calib") != npos) aboutMicrophone_ = true;

    for (std::string_view word : {"sens factor", "sensfactor", "sensitivity"}) {
        const std::size_t at = FindWord(lower, word);
        if (at == npos || sensitivity_) continue;
        sensitivity_ = FindSensitivity(lower.substr(at + word.size()), word != "sensitivity");
    }
    for (const SerialKeyword& keyword : kSerialKeywords) {
        const std::size_t at = FindWord(lower, keyword.word);
        if (at == npos || serialNumber_) continue;
        const std::size_t behind = at + keyword.word.size();
        if (behind < lower.size() && IsWordPart(lower[behind])) continue;
        std::optional<std::string> serial = FindSerialNumber(line.substr(behind));
        if (!serial || (keyword.alsoRatio && IsRatio(lower.substr(behind), *serial))) continue;
        serialNumber_ = std::move(serial);
        if (keyword.word == "serno") marked_ = true;  // the abbreviation of calibration files
    }
}

bool CalibrationHeader::IsCalibration() const {
    return marked_ || sensitivity_.has_value() || (serialNumber_.has_value() && aboutMicrophone_);
}

}  // namespace lumvex::app
