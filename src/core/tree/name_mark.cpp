#include "core/tree/name_mark.hpp"

#include "lumvex/values.hpp"

namespace lumvex::inside {

namespace {

// As ToUpper, which is a call; most units of names are ASCII.
std::uint32_t Upper(char16_t unit) noexcept {
    if (unit >= 0x80) return ToUpper(unit);
    return unit >= u'a' && unit <= u'z' ? unit - 32u : unit;
}

}  // namespace

NameMark MarkOf(std::u16string_view name) noexcept {
    NameMark mark = 0x811C9DC5;
    for (const char16_t unit : name) mark = (mark ^ Upper(unit)) * 0x01000193;
    return mark == kUnknownMark ? 1 : mark;
}

}  // namespace lumvex::inside
