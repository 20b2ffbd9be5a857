// The path under which a document keeps another one. It may be of another system, and the file may be gone.
#pragma once

#include <filesystem>
#include <string_view>
#include <vector>

namespace lumvex::inside {

// Can opening the path reach another machine or a device? True for paths of the network, of devices and with a scheme,
// of any system.
bool LeadsElsewhere(std::u16string_view path) noexcept;

// The last part of a path of any system.
std::u16string_view FileName(std::u16string_view path);

// Where on this machine the other document may be: under its path, seen from the document's folder, and in the folder.
std::vector<std::filesystem::path> PlacesOf(std::u16string_view path, const std::filesystem::path& folder);

}  // namespace lumvex::inside
