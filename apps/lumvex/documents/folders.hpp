// Reading folders, whatever the length of their paths: on Windows the standard library leaves out what is behind 260
// characters and does not say so.
#pragma once

#include <filesystem>
#include <vector>

namespace lumvex::app {

struct FolderEntry {
    std::filesystem::path path;
    bool isFolder = false;  // itself, not behind a link
    bool isFile = false;    // perhaps behind a link
};

bool IsFolder(const std::filesystem::path& path);

// What is in the folder, by name. Throws FileError.
std::vector<FolderEntry> EntriesOf(const std::filesystem::path& folder);

}  // namespace lumvex::app
