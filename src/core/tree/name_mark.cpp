#include "core/tree/name_mark.hpp"

#include "lumvex/values.hpp"

namespace lumvex::inside {

NameMark MarkOf(std::u16string_view name) noexcept {
    NameMark mark = 0x811C9DC5;
    for (const char16_t unit : name) {
        const bool isPlain = unit < 0x80 && (unit < u'a' || unit > u'z');  // most units: ToUpper is a call
        mark = (mark ^ (isPlain ? unit : ToUpper(unit))) * 0x01000193;
    }
    return mark == kUnknownMark ? 1 : mark;
}

}  // namespace lumvex::inside
