// The documents that a command takes when it takes several, and folders of them.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace lumvex::app {

// Does it end as the names of documents do, in .lvp or .lvs?
bool IsDocumentName(const std::filesystem::path& path);

struct FoundDocuments {
    std::vector<std::filesystem::path> paths;
    std::vector<std::string> problems;  // folders that could not be searched, and why
};

// The files that are named, and the documents (.lvp, .lvs) in the folders that are named, with everything below them,
// by name; links to folders are not followed. Throws DocumentError where there is no document at all.
FoundDocuments DocumentsIn(const std::vector<std::filesystem::path>& places);

}  // namespace lumvex::app
