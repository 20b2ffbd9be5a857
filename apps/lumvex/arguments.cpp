#include "arguments.hpp"

#include <algorithm>
#include <string_view>

namespace lumvex::app {

namespace {

std::filesystem::path PathOf(const std::string& text) {
    return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

}  // namespace

std::vector<std::string> ParserArguments(int count, const char* const* values) {
    std::vector<std::string> arguments(values + std::min(count, 1), values + count);
    const bool listsFiles =
        !arguments.empty() && (arguments[0] == "import" || arguments[0] == "compare" || arguments[0] == "correct");
    if (listsFiles) {
        // In a list of files the parser would take "[a,b]" apart, and it stumbles over "--" behind the first of them.
        const auto mark = std::find(arguments.begin(), arguments.end(), "--");
        for (auto file = arguments.begin() + 1; file != arguments.end(); ++file) {
            const std::string& before = *(file - 1);
            const bool isValue = file < mark && before.starts_with("--") && before != "--replace";
            const bool isList = !isValue && file->starts_with('[') && file->ends_with(']');
            const bool isOption = file > mark && file->starts_with('-');
            if (isList || isOption) file->insert(0, "./");
        }
        if (mark != arguments.end()) arguments.erase(mark);
    }
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

CLI::Option* AddPath(CLI::App& command, const std::string& name, std::filesystem::path& path, const std::string& help) {
    const auto take = [&path](const std::string& text) { path = PathOf(text); };
    return command.add_option_function<std::string>(name, take, help);
}

CLI::Option* AddPaths(CLI::App& command, const std::string& name, std::vector<std::filesystem::path>& paths,
                      const std::string& help) {
    const auto take = [&paths](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) paths.push_back(PathOf(text));
    };
    return command.add_option_function<std::vector<std::string>>(name, take, help);
}

CLI::Option* AddDocument(CLI::App& command, std::filesystem::path& document, const std::string& help) {
    return AddPath(command, "DOC", document, help)->type_name("")->required();
}

std::string ExitStatusHelp(const std::string& incomplete) {
    return "Exit status:\n"
           "  0  all done\n"
           "  1  " +
           incomplete +
           "\n"
           "  2  wrong usage; nothing was done\n"
           "  3  DOC could not be opened, read or saved; it is as it was before";
}

}  // namespace lumvex::app
