#include "core/base/strings.hpp"

#include <algorithm>
#include <array>

namespace lumvex::inside {

namespace {

struct Row {
    int id;
    std::u16string_view text;
};

constexpr Row kRows[] = {
#define LX_STRING(id, text) {id, text},
#include "core/base/strings.def"
};

static_assert(std::ranges::is_sorted(kRows, {}, &Row::id));

}  // namespace

std::u16string_view StringOf(int id) noexcept {
    const auto* row = std::ranges::lower_bound(kRows, id, {}, &Row::id);
    return row != std::end(kRows) && row->id == id ? row->text : std::u16string_view{};
}

}  // namespace lumvex::inside
