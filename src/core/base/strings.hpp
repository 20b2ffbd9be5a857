// The program's own texts by number: titles of collections, messages of failures, names of configurations.
#pragma once

#include <string_view>

namespace lumvex::inside {

// The text of a number, or an empty view when there is none.
std::u16string_view StringOf(int id) noexcept;

}  // namespace lumvex::inside
