// Names of files are bytes here, and mostly UTF-8. In a text, a byte that is not part of UTF-8 is written as half a
// surrogate pair, U+DC80 to U+DCFF: so every path has a text that leads back to it.
#include "lumvex/values.hpp"
#include "storage/document/path.hpp"
#include "storage/records/failures.hpp"

namespace lumvex::inside {

namespace {

constexpr char16_t kEscape = 0xDC00;

bool IsHigh(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool IsLow(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }
bool IsEscaped(char16_t unit) { return unit >= kEscape + 0x80 && unit <= kEscape + 0xFF; }

// How many units there are before the first escaped byte. The lower half of a pair is none.
std::size_t PlainLength(std::u16string_view text) {
    std::size_t length = 0;
    while (length < text.size() && !IsEscaped(text[length]))
        length += IsHigh(text[length]) && length + 1 < text.size() && IsLow(text[length + 1]) ? 2 : 1;
    return length;
}

bool IsUtf8(std::string_view bytes) { return ToUtf8(FromUtf8(bytes)) == bytes; }

// How many bytes the character at the front has; 0 when there is none.
std::size_t CharacterLength(std::string_view bytes) {
    for (std::size_t length = 1; length <= std::min<std::size_t>(bytes.size(), 4); ++length)
        if (IsUtf8(bytes.substr(0, length))) return length;
    return 0;
}

}  // namespace

// A path that the system would cut short at an embedded zero names no file.
std::filesystem::path PathOf(std::u16string_view text) {
    if (text.find(u'\0') != std::u16string_view::npos)
        throw Failure(static_cast<HRESULT>(compound::Status::InvalidName));
    std::string bytes;
    while (!text.empty()) {
        const std::size_t plain = PlainLength(text);
        bytes += ToUtf8(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty()) break;
        bytes += static_cast<char>(text[0] & 0xFF);
        text.remove_prefix(1);
    }
    return bytes;
}

std::u16string TextOfPath(const std::filesystem::path& path) {
    std::string_view bytes = path.native();
    if (IsUtf8(bytes)) return FromUtf8(bytes);
    std::u16string text;
    while (!bytes.empty()) {
        const std::size_t length = CharacterLength(bytes);
        if (length != 0)
            text += FromUtf8(bytes.substr(0, length));
        else
            text += static_cast<char16_t>(kEscape + static_cast<unsigned char>(bytes[0]));
        bytes.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return text;
}

}  // namespace lumvex::inside
