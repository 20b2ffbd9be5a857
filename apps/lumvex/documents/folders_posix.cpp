#include <algorithm>

#include "documents/folders.hpp"
#include "files/file_error.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

bool IsFolder(const fs::path& path) {
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

std::vector<FolderEntry> EntriesOf(const fs::path& folder) {
    std::vector<FolderEntry> entries;
    std::error_code error, ignored;
    fs::directory_iterator at(folder, error);
    for (; !error && at != fs::directory_iterator(); at.increment(error))
        entries.push_back({at->path(), fs::is_directory(at->symlink_status(ignored)), at->is_regular_file(ignored)});
    if (error) throw FileError(folder, error);
    std::ranges::sort(entries, {}, &FolderEntry::path);
    return entries;
}

}  // namespace lumvex::app
