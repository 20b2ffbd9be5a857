// Names of files are UTF-16 here, as texts are.
#include "lumvex/values.hpp"
#include "storage/document/path.hpp"
#include "storage/records/failures.hpp"

namespace lumvex::inside {

// A path that the system would cut short at an embedded zero names no file.
std::filesystem::path PathOf(std::u16string_view text) {
    if (text.find(u'\0') != std::u16string_view::npos)
        throw Failure(static_cast<HRESULT>(compound::Status::InvalidName));
    const std::string utf8 = ToUtf8(text);
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

std::u16string TextOfPath(const std::filesystem::path& path) {
    return std::u16string(path.native().begin(), path.native().end());
}

}  // namespace lumvex::inside
