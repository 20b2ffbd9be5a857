#include "command.hpp"

namespace lumvex::app {

const Value kName{"NAME", [](const std::string& text) { return std::string(text.empty() ? "a name is empty" : ""); }};
const Value kFile{"FILE"};
const Value kShown{""};

Option DocumentOption(std::filesystem::path& document, const std::string& help) {
    return {"DOC", &document, kShown, help, {.required = true}};
}

}  // namespace lumvex::app
