#include <system_error>

#include "files/replaced_file.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

bool IsDevice(const fs::path& path) {
    std::error_code ignored;
    const fs::file_status status = fs::status(path, ignored);
    return fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status);
}

}  // namespace lumvex::app
