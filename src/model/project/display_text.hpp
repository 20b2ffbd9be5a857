// Texts with numbers in them, as the string table has them.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace lumvex::inside {

// Puts the numbers in the place of "%.0f", "%.2f" and the like, one after the other, with a decimal point in every
// locale.
std::u16string FormatFixed(std::u16string_view format, std::initializer_list<double> numbers);

}  // namespace lumvex::inside
