// Reading a number with a decimal point, whatever the locale, for standard libraries that have from_chars for whole
// numbers alone (libc++ before version 20).
#pragma once

#include <locale.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string>
#include <type_traits>

namespace lumvex::inside {

// As std::from_chars, but that words ("inf", "nan") are no numbers.
template <class Real>
std::from_chars_result ReadReal(const char* first, const char* last, Real& value) {
    const auto isDigit = [](char each) { return each >= '0' && each <= '9'; };
    const auto skipDigits = [&](const char* from) { return std::find_if_not(from, last, isDigit); };

    // What belongs to the number: digits on at least one side of the point, an exponent that has digits.
    const char* const whole = first != last && *first == '-' ? first + 1 : first;
    const char* end = skipDigits(whole);
    std::ptrdiff_t digits = end - whole;
    if (end != last && *end == '.') {
        const char* const fraction = end + 1;
        end = skipDigits(fraction);
        digits += end - fraction;
    }
    if (digits == 0) return {first, std::errc::invalid_argument};
    const char* const mantissaEnd = end;
    if (end != last && (*end == 'e' || *end == 'E')) {
        const char* exponent = end + 1;
        if (exponent != last && (*exponent == '-' || *exponent == '+')) ++exponent;
        if (exponent != last && isDigit(*exponent)) end = skipDigits(exponent);
    }

    // The C library wants a terminator; only numbers of unusual length need memory.
    std::array<char, 1024> place{};
    std::string longer;
    char* text = place.data();
    if (static_cast<std::size_t>(end - first) < place.size())
        std::copy(first, end, text);
    else
        text = longer.assign(first, end).data();

    static const locale_t plain = ::newlocale(LC_ALL_MASK, "C", nullptr);
    Real read = 0;
    if constexpr (std::is_same_v<Real, float>)
        read = ::strtof_l(text, nullptr, plain);
    else
        read = ::strtod_l(text, nullptr, plain);
    const bool isZero = std::all_of(whole, mantissaEnd, [](char each) { return each == '0' || each == '.'; });
    if (!std::isfinite(read) || (read == 0 && !isZero)) return {end, std::errc::result_out_of_range};
    value = read;
    return {end, std::errc()};
}

}  // namespace lumvex::inside
