#include "automation/scalar_text.hpp"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

#include "lumvex/values.hpp"
#include "read_real.hpp"

namespace lumvex::inside {
namespace {

bool IsDigit(char16_t unit) noexcept { return unit >= u'0' && unit <= u'9'; }

HRESULT ParseRadix(const char* first, const char* last, int radix, Number& number) noexcept {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(first, last, value, radix);
    if (error == std::errc::result_out_of_range) return DISP_E_OVERFLOW;
    if (error != std::errc() || end != last) return DISP_E_TYPEMISMATCH;
    number = value;
    return S_OK;
}

// Reads exactly the given count of digits and takes them from the text.
bool TakeDigits(std::u16string_view& text, std::size_t count, int& value) noexcept {
    if (text.size() < count) return false;
    value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (!IsDigit(text[i])) return false;
        value = value * 10 + (text[i] - u'0');
    }
    text.remove_prefix(count);
    return true;
}

bool Take(std::u16string_view& text, char16_t unit) noexcept {
    if (text.empty() || text.front() != unit) return false;
    text.remove_prefix(1);
    return true;
}

bool TakeTime(std::u16string_view& text, DateParts& parts) noexcept {
    if (!TakeDigits(text, 2, parts.hour) || !Take(text, u':') || !TakeDigits(text, 2, parts.minute)) return false;
    return !Take(text, u':') || TakeDigits(text, 2, parts.second);
}

void AppendDigits(std::u16string& text, int value, int count) {
    std::u16string digits(static_cast<std::size_t>(count), u'0');
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit, value /= 10)
        *digit = static_cast<char16_t>(u'0' + value % 10);
    text += digits;
}

std::u16string Widen(std::string_view ascii) { return {ascii.begin(), ascii.end()}; }

struct ToDecimal {
    char buffer[64];

    template <class Integer>
    std::u16string operator()(Integer value) {
        return Widen({buffer, std::to_chars(buffer, std::end(buffer), value).ptr});
    }
    std::u16string operator()(float value) { return Real(value, 7); }
    std::u16string operator()(double value) { return Real(value, 15); }
    std::u16string operator()(CY value) {
        // By magnitude, since the whole part alone would lose the sign of -0.5.
        const std::uint64_t magnitude =
            value.int64 < 0 ? 0 - static_cast<std::uint64_t>(value.int64) : static_cast<std::uint64_t>(value.int64);
        std::u16string text = (value.int64 < 0 ? u"-" : u"") + (*this)(magnitude / 10000);
        if (const int decimals = static_cast<int>(magnitude % 10000)) {
            text += u'.';
            AppendDigits(text, decimals, 4);
            text.erase(text.find_last_not_of(u'0') + 1);
        }
        return text;
    }

private:
    template <class Real_>
    std::u16string Real(Real_ value, int digits) {
        if (value == 0) return u"0";  // negative zero too
        const auto end = std::to_chars(buffer, std::end(buffer), value, std::chars_format::general, digits).ptr;
        std::replace(buffer, end, 'e', 'E');
        return Widen({buffer, end});
    }
};

}  // namespace

std::u16string_view Trim(std::u16string_view text) noexcept {
    constexpr std::u16string_view kBlanks = u" \t";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

HRESULT ParseNumber(std::u16string_view text, Number& number) noexcept {
    text = Trim(text);
    char ascii[512] = {};  // far beyond what any number needs to be told apart from its neighbours
    if (text.empty() || text.size() > sizeof(ascii)) return DISP_E_TYPEMISMATCH;
    if (std::any_of(text.begin(), text.end(), [](char16_t unit) { return unit > 0x7E; })) return DISP_E_TYPEMISMATCH;
    const char* first = ascii;
    const char* const last =
        std::transform(text.begin(), text.end(), ascii, [](char16_t unit) { return static_cast<char>(unit); });

    if (last - first > 2 && first[0] == '&' && (first[1] == 'H' || first[1] == 'h'))
        return ParseRadix(first + 2, last, 16, number);
    if (last - first > 2 && first[0] == '&' && (first[1] == 'O' || first[1] == 'o'))
        return ParseRadix(first + 2, last, 8, number);

    const char* const unsignedPart = first + (*first == '-' || *first == '+');
    if (*first == '+') ++first;
    // Keeps out a second sign, "inf" and "nan".
    if (unsignedPart == last || (!IsDigit(static_cast<char16_t>(*unsignedPart)) && *unsignedPart != '.'))
        return DISP_E_TYPEMISMATCH;

    std::int64_t whole = 0;
    if (const auto [end, error] = std::from_chars(first, last, whole); error == std::errc() && end == last) {
        number = whole;
        return S_OK;
    }
    if (ParseRadix(first, last, 10, number) == S_OK) return S_OK;
    double real = 0;
    const auto [end, error] = ReadReal(first, last, real);
    if (end != last || error == std::errc::invalid_argument) return DISP_E_TYPEMISMATCH;
    if (error != std::errc()) return DISP_E_OVERFLOW;
    number = real;
    return S_OK;
}

std::u16string NumberText(const Number& number) { return number.Visit(ToDecimal{}); }

std::optional<DATE> ParseDate(std::u16string_view text) noexcept {
    text = Trim(text);
    DateParts parts;
    std::u16string_view rest = text;
    if (TakeDigits(rest, 4, parts.year)) {
        if (!Take(rest, u'-') || !TakeDigits(rest, 2, parts.month) || !Take(rest, u'-') ||
            !TakeDigits(rest, 2, parts.day))
            return std::nullopt;
        if (!rest.empty() && ((!Take(rest, u' ') && !Take(rest, u'T')) || !TakeTime(rest, parts))) return std::nullopt;
    } else {
        parts = DateParts();
        if (!TakeTime(rest, parts)) return std::nullopt;
    }
    return rest.empty() ? ToDate(parts) : std::nullopt;
}

std::optional<std::u16string> DateText(DATE date) {
    const auto parts = SplitDate(date);
    if (!parts) return std::nullopt;
    const bool dayZero = parts->year == 1899 && parts->month == 12 && parts->day == 30;
    const bool midnight = parts->hour == 0 && parts->minute == 0 && parts->second == 0;
    std::u16string text;
    if (!dayZero) {
        AppendDigits(text, parts->year, 4);
        text += u'-';
        AppendDigits(text, parts->month, 2);
        text += u'-';
        AppendDigits(text, parts->day, 2);
        if (midnight) return text;
        text += u' ';
    }
    AppendDigits(text, parts->hour, 2);
    text += u':';
    AppendDigits(text, parts->minute, 2);
    text += u':';
    AppendDigits(text, parts->second, 2);
    return text;
}

}  // namespace lumvex::inside
