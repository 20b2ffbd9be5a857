#include <iostream>
#include <memory>

#include "arguments.hpp"
#include "commands.hpp"
#include "files/file_error.hpp"
#include "manual.hpp"
#include "suggestion.hpp"

namespace lumvex::app {

namespace {

struct HelpArguments {
    std::string topic, form;
};

ExitStatus PrintHelp(std::vector<std::string> arguments) {
    return std::get<ExitStatus>(ParseArguments(AllCommands(), std::move(arguments)));
}

ExitStatus RunHelp(const HelpArguments& arguments) {
    const std::vector<Command> commands = AllCommands();
    if (!arguments.form.empty()) {
        const auto made = arguments.form == "man"    ? ManualPage
                          : arguments.form == "bash" ? BashCompletion
                          : arguments.form == "zsh"  ? ZshCompletion
                                                     : CommandTable;
        std::cout << made(commands);
        return kDone;
    }
    if (arguments.topic.empty()) return PrintHelp({"--help"});
    std::vector<std::string> names;
    for (const Command& command : commands) {
        if (command.name == arguments.topic) return PrintHelp({arguments.topic, "--help"});
        names.push_back(command.name);
    }
    std::cerr << "lumvex help: there is no command " << Quoted(arguments.topic) << DidYouMean(arguments.topic, names)
              << '\n';
    return kIncomplete;
}

}  // namespace

Command commands::Help() {
    const auto arguments = std::make_shared<HelpArguments>();
    return {.name = "help",
            .summary = "Print all about a command, or the list of commands",
            .use = DocumentUse::None,
            .options = {{"COMMAND", &arguments->topic, kShown, "the command; all are listed without it"},
                        {"--as",
                         &arguments->form,
                         {.shown = "FORM", .choices = {"man", "bash", "zsh", "json"}},
                         "print all commands as a manual page, as completion for a shell, or as JSON"}},
            .details =
                "`source <(lumvex help --as bash)` completes commands and options in the shell that runs; "
                "packages bring the\nmanual page and completion for bash and zsh along.",
            .incomplete = "there is no such command",
            .run = [arguments] { return RunHelp(*arguments); }};
}

}  // namespace lumvex::app
