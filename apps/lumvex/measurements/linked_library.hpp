// The library that a project is linked to, where it is now.
#pragma once

#include <filesystem>
#include <optional>

#include "lumvex/diagnostics.hpp"
#include "objects/arrays.hpp"

namespace lumvex::app {

// Where the project finds its library: at the stored path, or under the same name beside the project. None where
// neither is a library of this ID, and where the project cannot be opened.
std::optional<std::filesystem::path> FindLibrary(const std::filesystem::path& project, const LinkedLibrary& library);

// {"id", "path", "found"}
Json LibraryJson(const LinkedLibrary& library, bool isFound);

}  // namespace lumvex::app
