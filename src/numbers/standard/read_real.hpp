// Reading a number with a decimal point, whatever the locale. This file is for standard libraries that have from_chars
// for real numbers; numbers/replaced has the one for all others.
#pragma once

#include <charconv>

namespace lumvex::inside {

template <class Real>
std::from_chars_result ReadReal(const char* first, const char* last, Real& value) {
    return std::from_chars(first, last, value);
}

}  // namespace lumvex::inside
