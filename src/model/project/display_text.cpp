#include "model/project/display_text.hpp"

#include <cassert>
#include <charconv>

namespace lumvex::inside {

std::u16string FormatFixed(std::u16string_view format, std::initializer_list<double> numbers) {
    constexpr std::size_t kPlaceSize = 4;  // "%.2f"
    constexpr std::size_t kLongest = 400;  // the largest double has 309 digits
    std::u16string text;
    for (const double number : numbers) {
        const std::size_t place = format.find(u"%.");
        assert(place != format.npos && place + kPlaceSize <= format.size());
        char digits[kLongest];
        const int decimals = format[place + 2] - u'0';
        const auto end = std::to_chars(digits, digits + kLongest, number, std::chars_format::fixed, decimals).ptr;
        text.append(format.substr(0, place)).append(digits, end);
        format.remove_prefix(place + kPlaceSize);
    }
    return text.append(format);
}

}  // namespace lumvex::inside
