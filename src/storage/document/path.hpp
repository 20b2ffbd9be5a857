// Paths of files as clients' texts name them.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace lumvex::inside {

// The path that a client's text names. Ill-formed UTF-16 becomes U+FFFD, except for what TextOfPath makes of a path
// that no text can spell. A text with a zero in it is an invalid name: the system would cut the path short there.
std::filesystem::path PathOf(std::u16string_view text);
// A text that leads back to the path, whatever its name.
std::u16string TextOfPath(const std::filesystem::path& path);

}  // namespace lumvex::inside
