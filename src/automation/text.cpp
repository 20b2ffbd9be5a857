// UTF-16 and UTF-8. A lone surrogate, and each maximal part of an ill-formed byte sequence, becomes one U+FFFD.
#include <cstdint>

#include "lumvex/values.hpp"

namespace lumvex {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char16_t unit) noexcept { return (unit & 0xFC00) == 0xD800; }
bool IsLowSurrogate(char16_t unit) noexcept { return (unit & 0xFC00) == 0xDC00; }
bool IsSurrogate(char16_t unit) noexcept { return (unit & 0xF800) == 0xD800; }

char32_t Next(std::u16string_view text, std::size_t& at) noexcept {
    const char16_t unit = text[at++];
    if (!IsSurrogate(unit)) return unit;
    if (!IsHighSurrogate(unit) || at == text.size() || !IsLowSurrogate(text[at])) return kReplacement;
    return 0x10000u + ((unit & 0x3FFu) << 10) + (text[at++] & 0x3FFu);
}

char32_t Next(std::string_view text, std::size_t& at) noexcept {
    const auto lead = static_cast<std::uint8_t>(text[at++]);
    if (lead < 0x80) return lead;
    if (lead < 0xC2 || lead > 0xF4) return kReplacement;
    const int more = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    // The second byte's bounds keep out over-long forms, surrogates and what lies beyond U+10FFFF.
    std::uint8_t low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    std::uint8_t high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    char32_t code = lead & (0x3Fu >> more);
    for (int i = 0; i < more; ++i) {
        if (at == text.size()) return kReplacement;
        const auto byte = static_cast<std::uint8_t>(text[at]);
        if (byte < low || byte > high) return kReplacement;
        code = code << 6 | (byte & 0x3Fu);
        low = 0x80;
        high = 0xBF;
        ++at;
    }
    return code;
}

}  // namespace

std::string ToUtf8(std::u16string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const char32_t code = Next(text, at);
        const auto append = [&result](char32_t byte) { result += static_cast<char>(static_cast<std::uint8_t>(byte)); };
        if (code < 0x80) {
            append(code);
        } else if (code < 0x800) {
            append(0xC0 | code >> 6);
            append(0x80 | (code & 0x3F));
        } else if (code < 0x10000) {
            append(0xE0 | code >> 12);
            append(0x80 | (code >> 6 & 0x3F));
            append(0x80 | (code & 0x3F));
        } else {
            append(0xF0 | code >> 18);
            append(0x80 | (code >> 12 & 0x3F));
            append(0x80 | (code >> 6 & 0x3F));
            append(0x80 | (code & 0x3F));
        }
    }
    return result;
}

std::u16string FromUtf8(std::string_view text) {
    std::u16string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const char32_t code = Next(text, at);
        if (code < 0x10000) {
            result += static_cast<char16_t>(code);
        } else {
            result += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
            result += static_cast<char16_t>(0xDC00 + (code & 0x3FF));
        }
    }
    return result;
}

}  // namespace lumvex
