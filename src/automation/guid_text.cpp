// Identifiers in registry form.
#include "automation/guid_text.hpp"

#include "lumvex/values.hpp"

namespace lumvex {

std::u16string ToText(const GUID& guid) {
    OLECHAR text[39];
    StringFromGUID2(guid, text, 39);
    return {reinterpret_cast<const char16_t*>(text), 38};
}

std::optional<GUID> ParseGuid(std::u16string_view text) noexcept {
    if (text.size() < 2 || text.front() != u'{' || text.back() != u'}') return std::nullopt;
    return inside::ParseGuidDigits(text.substr(1, text.size() - 2));
}

}  // namespace lumvex
