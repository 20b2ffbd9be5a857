// The names under which new files stand beside the document whose place they will take: of each document its own, so
// that the next save of it knows what a program left behind that was killed meanwhile.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace lumvex::compound {

[[nodiscard]] std::string HiddenNameFor(const std::filesystem::path& target);  // another one each time
[[nodiscard]] bool IsHiddenNameFor(const std::filesystem::path& target, std::string_view name);

}  // namespace lumvex::compound
