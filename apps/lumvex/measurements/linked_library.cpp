#include "measurements/linked_library.hpp"

#include <nlohmann/json.hpp>

#include "documents/document.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

// Without regard to the other system's separators, the last part of a path.
std::string_view FileName(std::string_view path) { return path.substr(path.find_last_of("/\\") + 1); }

fs::path FromText(std::string_view text) { return fs::path(std::u8string(text.begin(), text.end())); }

}  // namespace

std::optional<fs::path> FindLibrary(const fs::path& project, const LinkedLibrary& library) {
    for (const std::string_view candidate : {std::string_view(library.path), FileName(library.path)}) {
        if (candidate.empty()) continue;
        const fs::path path = project.parent_path() / FromText(candidate);
        try {
            if (InspectDocument(path).rootId == library.id) return path;
        } catch (const Error&) {
        }
    }
    return std::nullopt;
}

Json LibraryJson(const LinkedLibrary& library, bool isFound) {
    return {{"id", library.id}, {"path", library.path}, {"found", isFound}};
}

}  // namespace lumvex::app
