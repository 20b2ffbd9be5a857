// Fills numbers into texts of the string table.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace lumvex::inside {

// Replaces "%.0f", "%.2f" and the like by the numbers, in order. The decimal separator is a point in every locale.
std::u16string FormatFixed(std::u16string_view format, std::initializer_list<double> numbers);

}  // namespace lumvex::inside
