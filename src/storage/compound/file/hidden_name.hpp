// The names of new files beside the document that they are going to replace. They tell which document that is: its next
// save removes the files of programs that were killed while they saved it, and no others.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace lumvex::compound {

[[nodiscard]] std::string HiddenNameFor(const std::filesystem::path& target);  // another name at each call
[[nodiscard]] bool IsHiddenNameFor(const std::filesystem::path& target, std::string_view name);

}  // namespace lumvex::compound
