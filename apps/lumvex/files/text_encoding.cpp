#include "files/text_encoding.hpp"

#include <algorithm>
#include <cstddef>

#include "files/file_error.hpp"
#include "files/text_numbers.hpp"

namespace lumvex::app {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

void Append(std::string& text, char32_t c) {
    const auto tail = [&](int shift) { text += static_cast<char>(0x80 | ((c >> shift) & 0x3F)); };
    if (c < 0x80) {
        text += static_cast<char>(c);
    } else if (c < 0x800) {
        text += static_cast<char>(0xC0 | (c >> 6));
        tail(0);
    } else if (c < 0x10000) {
        text += static_cast<char>(0xE0 | (c >> 12));
        tail(6), tail(0);
    } else {
        text += static_cast<char>(0xF0 | (c >> 18));
        tail(12), tail(6), tail(0);
    }
}

// The number of bytes of the valid sequence that the text starts with; 0 when it starts with none.
std::size_t SequenceLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(0);
    if (first < 0x80) return 1;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || length > text.size()) return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
    }
    const bool overlong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xF0 && byte(1) < 0x90);
    const bool noCharacter = (first == 0xED && byte(1) >= 0xA0) || (first == 0xF4 && byte(1) >= 0x90);
    return overlong || noCharacter ? 0 : length;
}

}  // namespace

// What becomes U+FFFD loses nothing: a line of numbers with it is refused anyway, and elsewhere it can only be part of
// a comment.
std::string FromUtf16(std::string_view bytes, bool bigEndian) {
    const std::size_t units = bytes.size() / 2;
    const auto unit = [&](std::size_t i) -> char32_t {
        const auto a = static_cast<unsigned char>(bytes[2 * i]);
        const auto b = static_cast<unsigned char>(bytes[2 * i + 1]);
        return static_cast<char32_t>(bigEndian ? a << 8 | b : b << 8 | a);
    };
    std::string text;
    text.reserve(units);
    for (std::size_t i = 0; i < units; ++i) {
        char32_t c = unit(i);
        if (c >= 0xD800 && c < 0xE000) {
            const char32_t next = i + 1 < units ? unit(i + 1) : 0;
            const bool pair = c < 0xDC00 && next >= 0xDC00 && next < 0xE000;
            c = pair ? 0x10000 + ((c - 0xD800) << 10) + (next - 0xDC00) : kReplacement;
            if (pair) ++i;
        }
        Append(text, c);
    }
    return text;
}

std::string DecodeText(std::string bytes, const std::filesystem::path& path) {
    if (bytes.starts_with("\xEF\xBB\xBF")) {
        bytes.erase(0, 3);
        return bytes;
    }
    const bool bigEndian = bytes.starts_with("\xFE\xFF");
    if (!bigEndian && !bytes.starts_with("\xFF\xFE")) return bytes;
    if (bytes.size() % 2 != 0) {
        throw FileError(path, 0, "an even number of bytes after a UTF-16 byte-order mark",
                        "half a character at the end");
    }
    return FromUtf16(std::string_view(bytes).substr(2), bigEndian);
}

std::string ValidUtf8(std::string_view text) {
    std::string valid;
    valid.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = SequenceLength(text);
        if (length == 0) {
            Append(valid, kReplacement);
        } else {
            valid += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return valid;
}

std::string Utf8(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return ValidUtf8({reinterpret_cast<const char*>(text.data()), text.size()});
}

std::string LowerExtension(const std::filesystem::path& path) {
    std::string extension = Utf8(path.extension());
    std::transform(extension.begin(), extension.end(), extension.begin(), Lower);
    return extension;
}

}  // namespace lumvex::app
