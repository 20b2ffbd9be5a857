// Files that lie beside the test program, as the server does.
#pragma once

#include <filesystem>

#include "core/published/user_settings_windows.hpp"

namespace lumvex::tests {

inline std::filesystem::path Beside(const wchar_t* name) {
    return std::filesystem::path(inside::ModulePath(nullptr)).parent_path() / name;
}

}  // namespace lumvex::tests
