// Marks of names: short numbers by which a name is looked for in a long list without reading the others. They are kept
// in files, so that they are the same in every version and on every system.
#pragma once

#include <cstdint>
#include <string_view>

namespace lumvex::inside {

using NameMark = std::uint32_t;

constexpr NameMark kUnknownMark = 0;  // no name has it: it says that the name has to be read

// Names that are equal without regard to case have the same mark, others hardly ever. FNV-1a over the UTF-16 units in
// upper case; docs/file-format.md describes it.
NameMark MarkOf(std::u16string_view name) noexcept;

}  // namespace lumvex::inside
