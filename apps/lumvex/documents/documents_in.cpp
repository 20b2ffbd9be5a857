#include "documents/documents_in.hpp"

#include <algorithm>
#include <string>

#include "documents/document.hpp"
#include "files/text_encoding.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

bool IsDocumentName(const fs::path& path) {
    const std::string extension = LowerExtension(path);
    return extension == ".lvp" || extension == ".lvs";
}

}  // namespace

std::vector<fs::path> DocumentsIn(const std::vector<fs::path>& places) {
    std::vector<fs::path> documents;
    for (const fs::path& place : places) {
        if (!fs::is_directory(place)) {
            documents.push_back(place);
            continue;
        }
        std::vector<fs::path> below;
        constexpr auto kOptions = fs::directory_options::skip_permission_denied;
        for (const fs::directory_entry& each : fs::recursive_directory_iterator(place, kOptions)) {
            std::error_code ignored;
            if (IsDocumentName(each.path()) && each.is_regular_file(ignored)) below.push_back(each.path());
        }
        std::ranges::sort(below);
        documents.insert(documents.end(), below.begin(), below.end());
    }
    if (documents.empty() && !places.empty())
        throw DocumentError(places[0], "cannot be opened", "there is no document (.lvp, .lvs) in it");
    return documents;
}

}  // namespace lumvex::app
