#include "command_line/command.hpp"

#include <sstream>
#include <type_traits>

#include "command_line/run_options.hpp"

namespace lumvex::app {

const Value kName{"NAME", [](const std::string& text) { return std::string(text.empty() ? "a name is empty" : ""); }};
const Value kFile{"FILE"};
const Value kShown{""};

namespace {

template <class Item>
constexpr bool kIsList = false;
template <class Item>
constexpr bool kIsList<std::vector<Item>> = true;

// Empty when the text is a number of seconds.
std::string ProblemOfSeconds(const std::string& text) {
    std::istringstream number(text);
    float seconds = -1;
    const bool isNumber = number >> seconds && number.peek() == std::istringstream::traits_type::eof();
    return isNumber && seconds >= 0 ? "" : "expected seconds, 0 or more";
}

}  // namespace

bool IsPositional(const Option& option) { return !option.name.starts_with('-'); }

bool TakesValue(const Option& option) { return !std::holds_alternative<bool*>(option.target); }

std::string ValueName(const Option& option) {
    if (!TakesValue(option)) return "";
    return option.value.shown.empty() ? "VALUE" : option.value.shown;
}

bool IsList(const Option& option) {
    return std::visit([](const auto* target) { return kIsList<std::remove_cvref_t<decltype(*target)>>; },
                      option.target);
}

bool IsPath(const Option& option) {
    return std::holds_alternative<std::filesystem::path*>(option.target) ||
           std::holds_alternative<std::vector<std::filesystem::path>*>(option.target);
}

std::vector<std::string> NamesOf(const std::vector<Command>& commands) {
    std::vector<std::string> names;
    names.reserve(commands.size());
    for (const Command& command : commands) names.push_back(command.name);
    return names;
}

std::vector<std::string> NamesOf(const Option& option) {
    std::vector<std::string> names;
    std::istringstream text(option.name);
    for (std::string name; std::getline(text, name, ',');) names.push_back(name);
    return names;
}

Command WithCommonOptions(Command command) {
    RunOptions& run = CurrentRun();
    const auto add = [&](Option option) { command.options.push_back(std::move(option)); };
    if (command.use != DocumentUse::None)
        add({"--wait",
             &run.wait,
             {"SECONDS", ProblemOfSeconds},
             "wait so long for a document that others have locked"});
    if (command.use == DocumentUse::Changes || command.use == DocumentUse::Makes)
        add({"-n,--dry-run", &run.dryRun, {}, "do and report everything, but save nothing"});
    add({"-q,--quiet", &run.quiet, {}, "print data and errors only: no reports and no progress"});
    return command;
}

Option DocumentOption(std::filesystem::path& document, const std::string& help) {
    return {"DOC", &document, kShown, help, {.required = true}};
}

}  // namespace lumvex::app
