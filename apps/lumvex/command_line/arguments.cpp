// The one file that includes the option parser: its templates take seconds to compile.
#include "command_line/arguments.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

#include "command_line/manual.hpp"
#include "command_line/run_options.hpp"
#include "command_line/suggestion.hpp"
#include "command_line/terminal.hpp"
#include "files/file_error.hpp"
#include "files/text_table.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

// Goes in front of an argument that the parser would take for something else than what it is. No argument of a program
// begins with it: it is no character.
constexpr char kProtection = '\1';

std::string Unprotected(const std::string& text) { return text.starts_with(kProtection) ? text.substr(1) : text; }

// Our command line is UTF-8 on every system, but a path made from char would be read in the system's code page.
fs::path PathOf(const std::string& text) {
    const std::string plain = Unprotected(text);
    return fs::path(std::u8string(plain.begin(), plain.end()));
}

// Has the parser put the value of an option into the target.
CLI::Option* AddTo(CLI::App& parser, const Option& option, bool* target) {
    return parser.add_flag(option.name, *target, option.help);
}

CLI::Option* AddTo(CLI::App& parser, const Option& option, std::string* target) {
    const auto take = [target](const std::string& text) { *target = Unprotected(text); };
    return parser.add_option_function<std::string>(option.name, take, option.help);
}

CLI::Option* AddTo(CLI::App& parser, const Option& option, std::vector<std::string>* target) {
    const auto take = [target](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) target->push_back(Unprotected(text));
    };
    return parser.add_option_function<std::vector<std::string>>(option.name, take, option.help);
}

// The parser would read the beginning of some texts, and "1,000" is 1 or 1000.
CLI::Option* AddTo(CLI::App& parser, const Option& option, float* target) {
    const auto take = [target](const std::string& text) { ReadNumber(text, *target); };
    return parser.add_option_function<std::string>(option.name, take, option.help)->check([](const std::string& text) {
        float value = 0;
        if (!ReadNumber(text, value)) return "expected a number, found " + Quoted(text);
        return text.find(',') == text.npos
                   ? std::string()
                   : "expected a number with a decimal point, such as 0.5, found " + Quoted(text);
    });
}

// Refuses an empty text, which the parser would read as 0.
CLI::Option* AddTo(CLI::App& parser, const Option& option, std::optional<short>* target) {
    const auto take = [target](short value) { *target = value; };
    return parser.add_option_function<short>(option.name, take, option.help)->check([](const std::string& text) {
        return std::string(text.empty() ? "a number is empty" : "");
    });
}

CLI::Option* AddTo(CLI::App& parser, const Option& option, fs::path* target) {
    const auto take = [target](const std::string& text) { *target = PathOf(text); };
    return parser.add_option_function<std::string>(option.name, take, option.help);
}

CLI::Option* AddTo(CLI::App& parser, const Option& option, std::optional<std::string>* target) {
    const auto take = [target](const std::string& text) { *target = Unprotected(text); };
    return parser.add_option_function<std::string>(option.name, take, option.help);
}

CLI::Option* AddTo(CLI::App& parser, const Option& option, std::vector<fs::path>* target) {
    const auto take = [target](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            for (fs::path& file : Expanded(PathOf(text))) target->push_back(std::move(file));
        }
    };
    return parser.add_option_function<std::vector<std::string>>(option.name, take, option.help);
}

void AddOption(CLI::App& parser, const Option& option) {
    CLI::Option* added = std::visit([&](auto* target) { return AddTo(parser, option, target); }, option.target);
    if (!TakesValue(option)) return;
    // A repeatable option takes one value each time, so that what follows is not taken for another value.
    if (IsList(option) && !IsPositional(option)) added->expected(1)->take_all()->allow_extra_args(false);
    added->type_name(option.value.shown)->required(option.rules.required);
    if (const auto problemOf = option.value.problemOf)
        added->check([problemOf](const std::string& text) { return problemOf(Unprotected(text)); });
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
    std::string text = command.details + "\n\nExit status:";
    for (const auto& [status, meaning] : ExitStatuses(command))
        text += "\n  " + std::to_string(status) + "  " + meaning;
    return text;
}

void AddCommand(CLI::App& app, const Command& command, const Command*& chosen) {
    CLI::App* parser = app.add_subcommand(command.name, command.summary);
    for (const Option& option : command.options) AddOption(*parser, option);
    for (const Option& option : command.options) AddRules(*parser, option);
    parser->footer(HelpBelow(command));
    parser->callback([&command, &chosen, parser] {
        for (const Option& option : command.options) CheckNeedsOneOf(*parser, option);
        chosen = &command;
        CurrentRun().use = command.use;
    });
}

bool TakesList(const Command& command) {
    return std::ranges::any_of(command.options,
                               [](const Option& option) { return IsPositional(option) && IsList(option); });
}

bool IsOptionWithValue(const Command& command, const std::string& argument) {
    return std::ranges::any_of(command.options, [&](const Option& option) {
        if (IsPositional(option)) return false;
        const std::vector<std::string> names = NamesOf(option);
        return TakesValue(option) && std::ranges::find(names, argument) != names.end();
    });
}

// In a list the parser would take "[a,b]" apart, it drops an argument without characters, and it does not accept "--"
// after the first of a list. Such arguments are protected, and so are those after "--" that look like options.
void Protect(const Command& command, std::vector<std::string>& arguments) {
    const bool takesList = TakesList(command);
    const auto mark = std::find(arguments.begin(), arguments.end(), "--");
    for (auto each = arguments.begin() + 1; each != arguments.end(); ++each) {
        const bool isValue = each < mark && IsOptionWithValue(command, *(each - 1));
        const bool isList = takesList && !isValue && each->starts_with('[') && each->ends_with(']');
        const bool isOption = each > mark && each->starts_with('-');
        if (isList || isOption || each->starts_with(kProtection)) each->insert(0, 1, kProtection);
    }
    if (mark != arguments.end()) arguments.erase(mark);
}

// What the parser says of wrong usage, with a suggestion for a word that it does not know.
void PrintUsageError(const CLI::ParseError& error, const std::vector<Command>& commands, const Command* named,
                     const std::vector<std::string>& arguments) {
    if (!named) {
        const std::string first = arguments.empty() ? "" : arguments[0];
        if (first.empty()) {
            std::cerr << "lumvex: which command? `lumvex help` lists all.\n";
        } else if (first[0] == '-') {
            std::cerr << "lumvex: there is no option " << Quoted(first)
                      << DidYouMean(first, {"--help", "--version", "-h", "-v"}) << "\n`lumvex help` lists all.\n";
        } else {
            std::cerr << "lumvex: there is no command " << Quoted(first) << DidYouMean(first, NamesOf(commands))
                      << "\n`lumvex help` lists all.\n";
        }
        return;
    }
    std::cerr << "lumvex " << named->name << ": ";
    std::vector<std::string> known{"-h", "--help"};
    for (const Option& option : named->options) {
        if (!IsPositional(option)) std::ranges::copy(NamesOf(option), std::back_inserter(known));
    }
    const auto isUnknown = [&](const std::string& argument) {
        const std::string name = argument.substr(0, argument.find('='));
        return name.size() > 1 && name[0] == '-' && std::ranges::find(known, name) == known.end();
    };
    const auto unknown = std::ranges::find_if(arguments, isUnknown);
    if (dynamic_cast<const CLI::ExtrasError*>(&error) && unknown != arguments.end()) {
        std::cerr << "there is no option " << Quoted(*unknown) << DidYouMean(*unknown, known);
    } else {
        std::cerr << error.what();
    }
    std::cerr << "\n`lumvex help " << named->name << "` says all about it.\n";
}

}  // namespace

std::variant<const Command*, ExitStatus> ParseArguments(const std::vector<Command>& commands,
                                                        std::vector<std::string> arguments) {
    CLI::App app("Imports, designs, inspects, exports, compares and checks Lumvex documents.", "lumvex");
    app.set_version_flag("-v,--version", "lumvex " LUMVEX_TOOL_VERSION);
    app.require_subcommand(1);
    app.allow_windows_style_options(false);  // what begins with a slash is a path on every system
    app.footer("`lumvex help COMMAND` says all about a command.");
    const Command* chosen = nullptr;
    for (const Command& command : commands) AddCommand(app, command, chosen);

    const auto found = std::ranges::find(commands, arguments.empty() ? "" : arguments[0], &Command::name);
    const Command* named = found == commands.end() ? nullptr : &*found;
    if (named) Protect(*named, arguments);
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));  // it takes the last one first
        return chosen;
    } catch (const CLI::Success& answer) {
        app.exit(answer);
        return kDone;
    } catch (const CLI::ParseError& error) {
        PrintUsageError(error, commands, named, arguments);
        return kWrongUsage;
    }
}

}  // namespace lumvex::app
