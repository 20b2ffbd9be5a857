// Files for the fuzzers, in memory alone: what the engine takes for the system's files while these are linked in.
#pragma once

#include <filesystem>
#include <vector>

#include "storage/compound/file/file.hpp"

namespace lumvex::fuzz {

// The one file there is, under this path; any other path leads nowhere.
void SetFile(const std::filesystem::path& path, std::vector<std::byte> content);
std::unique_ptr<compound::File> OpenedFile();

}  // namespace lumvex::fuzz
