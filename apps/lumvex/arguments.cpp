// The one file that includes the option parser: its templates take seconds to compile.
#include "arguments.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <type_traits>

#include "files/file_error.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

bool IsPositional(const Option& option) { return !option.name.starts_with('-'); }

// "-o" and "--output" of "-o,--output".
std::vector<std::string> NamesOf(const Option& option) { return CLI::detail::split(option.name, ','); }

bool TakesValue(const Option& option) { return !std::holds_alternative<bool*>(option.target); }

template <class Item>
constexpr bool kIsList = false;
template <class Item>
constexpr bool kIsList<std::vector<Item>> = true;

bool IsList(const Option& option) {
    return std::visit([](const auto* target) { return kIsList<std::remove_cvref_t<decltype(*target)>>; },
                      option.target);
}

// Our command line is UTF-8 on every system, but a path made from char would be read in the system's code page.
fs::path PathOf(const std::string& text) { return fs::path(std::u8string(text.begin(), text.end())); }

// Has the parser put the value of an option into the target.
CLI::Option* AddTo(CLI::App& parser, const Option& option, bool* target) {
    return parser.add_flag(option.name, *target, option.help);
}

CLI::Option* AddTo(CLI::App& parser, const Option& option, std::string* target) {
    return parser.add_option(option.name, *target, option.help);
}

CLI::Option* AddTo(CLI::App& parser, const Option& option, std::vector<std::string>* target) {
    return parser.add_option(option.name, *target, option.help);
}

// Refuses an empty text, which the parser would read as 0.
template <class Number>
CLI::Option* AddNumber(CLI::App& parser, const Option& option, const std::function<void(const Number&)>& take) {
    return parser.add_option_function<Number>(option.name, take, option.help)->check([](const std::string& text) {
        return std::string(text.empty() ? "a number is empty" : "");
    });
}

CLI::Option* AddTo(CLI::App& parser, const Option& option, float* target) {
    return AddNumber<float>(parser, option, [target](float value) { *target = value; });
}

CLI::Option* AddTo(CLI::App& parser, const Option& option, std::optional<short>* target) {
    return AddNumber<short>(parser, option, [target](short value) { *target = value; });
}

CLI::Option* AddTo(CLI::App& parser, const Option& option, fs::path* target) {
    const auto take = [target](const std::string& text) { *target = PathOf(text); };
    return parser.add_option_function<std::string>(option.name, take, option.help);
}

CLI::Option* AddTo(CLI::App& parser, const Option& option, std::optional<std::string>* target) {
    const auto take = [target](const std::string& text) { *target = text; };
    return parser.add_option_function<std::string>(option.name, take, option.help);
}

CLI::Option* AddTo(CLI::App& parser, const Option& option, std::vector<fs::path>* target) {
    const auto take = [target](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) target->push_back(PathOf(text));
    };
    return parser.add_option_function<std::vector<std::string>>(option.name, take, option.help);
}

void AddOption(CLI::App& parser, const Option& option) {
    CLI::Option* added = std::visit([&](auto* target) { return AddTo(parser, option, target); }, option.target);
    if (!TakesValue(option)) return;
    // A repeatable option takes one value each time, so that what follows is not taken for another value.
    if (IsList(option) && !IsPositional(option)) added->expected(1)->take_all()->allow_extra_args(false);
    added->type_name(option.value.shown)->required(option.rules.required);
    if (option.value.problemOf) added->check(option.value.problemOf);
    if (!option.value.choices.empty()) added->check(CLI::IsMember(option.value.choices));
}

// "--experiment, --measurement or --correction"
std::string OneOf(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : &name == &names.back() ? " or " : ", ") + name;
    return text;
}

void AddRules(CLI::App& parser, const Option& option) {
    if (IsPositional(option)) return;
    CLI::Option* added = parser.get_option(NamesOf(option).back());
    for (const std::string& other : option.rules.needs) added->needs(parser.get_option(other));
    for (const std::string& other : option.rules.excludes) added->excludes(parser.get_option(other));
}

void CheckNeedsOneOf(const CLI::App& parser, const Option& option) {
    const auto& names = option.rules.needsOneOf;
    const auto isGiven = [&](const std::string& name) { return parser.count(name) != 0; };
    if (!names.empty() && isGiven(option.name) && std::ranges::none_of(names, isGiven))
        throw CLI::RequiresError(option.name, OneOf(names));
}

std::string HelpBelow(const Command& command) {
    return command.details +
           "\n\n"
           "Exit status:\n"
           "  0  all done\n"
           "  1  " +
           command.incomplete +
           "\n"
           "  2  wrong usage; nothing was done\n"
           "  3  DOC could not be opened, read or saved; it is as it was before";
}

void AddCommand(CLI::App& app, const Command& command, const Command*& chosen) {
    CLI::App* parser = app.add_subcommand(command.name, command.summary);
    for (const Option& option : command.options) AddOption(*parser, option);
    for (const Option& option : command.options) AddRules(*parser, option);
    parser->footer(HelpBelow(command));
    parser->callback([&command, &chosen, parser] {
        for (const Option& option : command.options) CheckNeedsOneOf(*parser, option);
        chosen = &command;
    });
}

bool TakesFiles(const Command& command) {
    return std::ranges::any_of(command.options, [](const Option& option) {
        return IsPositional(option) && std::holds_alternative<std::vector<fs::path>*>(option.target);
    });
}

bool IsOptionWithValue(const Command& command, const std::string& argument) {
    return std::ranges::any_of(command.options, [&](const Option& option) {
        if (IsPositional(option)) return false;
        const std::vector<std::string> names = NamesOf(option);
        return TakesValue(option) && std::ranges::find(names, argument) != names.end();
    });
}

// In a list of files the parser would take "[a,b]" apart, and it does not accept "--" after the first of them. Such
// files get their folder in front ("./[a,b]"), and so do those after "--" that look like options.
void ProtectFiles(const Command& command, std::vector<std::string>& arguments) {
    if (!TakesFiles(command)) return;
    const auto mark = std::find(arguments.begin(), arguments.end(), "--");
    for (auto file = arguments.begin() + 1; file != arguments.end(); ++file) {
        const bool isValue = file < mark && IsOptionWithValue(command, *(file - 1));
        const bool isList = !isValue && file->starts_with('[') && file->ends_with(']');
        const bool isOption = file > mark && file->starts_with('-');
        if (isList || isOption) file->insert(0, "./");
    }
    if (mark != arguments.end()) arguments.erase(mark);
}

}  // namespace

std::variant<const Command*, ExitStatus> ParseArguments(const std::vector<Command>& commands,
                                                        std::vector<std::string> arguments) {
    CLI::App app("Imports, designs, inspects, exports, compares and checks Lumvex documents.", "lumvex");
    app.set_version_flag("--version", "lumvex " LUMVEX_TOOL_VERSION);
    app.require_subcommand(1);
    app.allow_windows_style_options(false);  // what begins with a slash is a path on every system
    app.footer("`lumvex COMMAND --help` says all about a command.");
    const Command* chosen = nullptr;
    for (const Command& command : commands) AddCommand(app, command, chosen);

    const std::string first = arguments.empty() ? "" : arguments[0];
    const auto named = std::ranges::find(commands, first, &Command::name);
    if (named != commands.end()) ProtectFiles(*named, arguments);
    std::ranges::reverse(arguments);  // the parser takes the last one first
    try {
        app.parse(std::move(arguments));
        return chosen;
    } catch (const CLI::ParseError& error) {
        if (named == commands.end() && !first.empty() && first[0] != '-') {
            std::cerr << "There is no command " << Quoted(first) << "; `lumvex --help` lists all.\n";
            return kWrongUsage;
        }
        return app.exit(error) == 0 ? kDone : kWrongUsage;
    }
}

}  // namespace lumvex::app
