// Converts the bytes of a text file, or a path, to UTF-8.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace lumvex::app {

// The text of a file as UTF-8, without byte-order mark: UTF-8 and UTF-16 (both byte orders) are told by the mark;
// anything else is taken as it is, since only its ASCII matters to the readers. Throws FileError for UTF-16 of an odd
// number of bytes.
[[nodiscard]] std::string DecodeText(std::string bytes, const std::filesystem::path& path);

// The text of UTF-16 code units. A surrogate without its other half becomes U+FFFD, and half a unit is left out.
[[nodiscard]] std::string FromUtf16(std::string_view bytes, bool bigEndian);

// The text with U+FFFD in place of every byte that is not part of valid UTF-8.
[[nodiscard]] std::string ValidUtf8(std::string_view text);

// A path or a part of one; names of files need not be valid on every system.
[[nodiscard]] std::string Utf8(const std::filesystem::path& path);

// The extension with its point, in lower case.
[[nodiscard]] std::string LowerExtension(const std::filesystem::path& path);

}  // namespace lumvex::app
