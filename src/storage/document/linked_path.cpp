#include "storage/document/linked_path.hpp"

#include "storage/document/path.hpp"

namespace lumvex::inside {

namespace {

bool IsSeparator(char16_t unit) noexcept { return unit == u'/' || unit == u'\\'; }

}  // namespace

bool LeadsElsewhere(std::u16string_view path) noexcept {
    if (path.size() >= 2 && IsSeparator(path[0]) && IsSeparator(path[1])) return true;  // \\host\share, \\.\device
    if (path.starts_with(u"/dev/") || path.starts_with(u"\\??\\")) return true;
    const std::size_t colon = path.find(u':');
    return colon != path.npos && colon > 1 && path.find_first_of(u"/\\") > colon;  // file:, but not C:
}

std::u16string_view FileName(std::u16string_view path) { return path.substr(path.find_last_of(u"/\\") + 1); }

std::vector<std::filesystem::path> PlacesOf(std::u16string_view path, const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> places;
    for (const std::u16string_view each : {path, FileName(path)})
        if (!FileName(each).empty() && !LeadsElsewhere(each)) places.push_back(folder / PathOf(each));
    return places;
}

}  // namespace lumvex::inside
