// Identifiers in registry form.
#include <cstdint>

#include "lumvex/values.hpp"

namespace lumvex {
namespace {

int HexDigit(char16_t unit) noexcept {
    if (unit >= u'0' && unit <= u'9') return unit - u'0';
    if (unit >= u'A' && unit <= u'F') return unit - u'A' + 10;
    if (unit >= u'a' && unit <= u'f') return unit - u'a' + 10;
    return -1;
}

}  // namespace

std::u16string ToText(const GUID& guid) {
    OLECHAR text[39];
    StringFromGUID2(guid, text, 39);
    return {reinterpret_cast<const char16_t*>(text), 38};
}

std::optional<GUID> ParseGuid(std::u16string_view text) noexcept {
    constexpr std::u16string_view kShape = u"{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
    if (text.size() != kShape.size()) return std::nullopt;
    unsigned char bytes[16] = {};
    unsigned digits = 0;
    for (std::size_t i = 0; i < kShape.size(); ++i) {
        if (kShape[i] != u'x') {
            if (text[i] != kShape[i]) return std::nullopt;
            continue;
        }
        const int digit = HexDigit(text[i]);
        if (digit < 0) return std::nullopt;
        bytes[digits / 2] = static_cast<unsigned char>(bytes[digits / 2] << 4 | digit);
        ++digits;
    }
    GUID guid{};
    guid.Data1 = static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
                 static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
    guid.Data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
    guid.Data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
    for (int i = 0; i < 8; ++i) guid.Data4[i] = bytes[8 + i];
    return guid;
}

}  // namespace lumvex
