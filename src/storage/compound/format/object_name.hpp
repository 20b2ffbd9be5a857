// Object IDs as entry names: an entry's name holds at most 31 characters, so the 16 bytes of an ID are written as 26
// characters of base32hex (0-9, A-V, no padding).
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace lumvex::compound {

// The bytes in the order in which the ID's text shows them.
[[nodiscard]] std::u16string NameOfId(std::span<const std::byte, 16> idInTextOrder);

// None where the name is not exactly such a name (lower case is one, as names compare without regard to case).
[[nodiscard]] std::optional<std::array<std::byte, 16>> IdOfName(std::u16string_view name);

}  // namespace lumvex::compound
