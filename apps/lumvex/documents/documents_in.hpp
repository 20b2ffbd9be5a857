// The documents that a command takes when it takes several, and folders of them.
#pragma once

#include <filesystem>
#include <vector>

namespace lumvex::app {

// The files that are named, and the documents (.lvp, .lvs) in the folders that are named, with everything below them,
// by name. Throws DocumentError where there is no document at all.
std::vector<std::filesystem::path> DocumentsIn(const std::vector<std::filesystem::path>& places);

}  // namespace lumvex::app
