#include "documents/documents_in.hpp"

#include <string>

#include "documents/document.hpp"
#include "documents/folders.hpp"
#include "files/file_error.hpp"
#include "files/text_encoding.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

bool IsDocumentName(const fs::path& path) {
    const std::string extension = LowerExtension(path);
    return extension == ".lvp" || extension == ".lvs";
}

namespace {

void AddDocumentsBelow(const fs::path& folder, FoundDocuments& found) {
    try {
        for (const FolderEntry& each : EntriesOf(folder)) {
            if (each.isFolder) AddDocumentsBelow(each.path, found);
            if (each.isFile && IsDocumentName(each.path)) found.paths.push_back(each.path);
        }
    } catch (const FileError& error) {
        found.problems.push_back(std::string(error.what()) + "; what is in the folder is left out");
    }
}

}  // namespace

FoundDocuments DocumentsIn(const std::vector<fs::path>& places) {
    FoundDocuments found;
    for (const fs::path& place : places) {
        if (IsFolder(place)) {
            AddDocumentsBelow(place, found);
        } else {
            found.paths.push_back(place);
        }
    }
    if (found.paths.empty() && !found.problems.empty())
        throw DocumentError(places[0], "cannot be opened", "no document was found; " + found.problems[0]);
    if (found.paths.empty() && !places.empty())
        throw DocumentError(places[0], "cannot be opened", "there is no document (.lvp, .lvs) in it");
    return found;
}

}  // namespace lumvex::app
