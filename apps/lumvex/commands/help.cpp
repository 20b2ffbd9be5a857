#include <iostream>
#include <memory>

#include "command_line/arguments.hpp"
#include "command_line/completion.hpp"
#include "command_line/manual.hpp"
#include "command_line/suggestion.hpp"
#include "commands/commands.hpp"
#include "files/file_error.hpp"
#include "objects/properties.hpp"

namespace lumvex::app {

namespace {

struct HelpArguments {
    std::string topic, form;
};

ExitStatus PrintHelp(std::vector<std::string> arguments) {
    return std::get<ExitStatus>(ParseArguments(AllCommands(), std::move(arguments)));
}

// "; it is a property: Correction.MagTol, SpkrEQDesign.MagTol"; nothing where no class has such a property.
std::string ClassesThatHave(const std::string& property) {
    std::string text;
    for (const ClassDescription& each : kClasses) {
        if (each.kind == Kind::Collection) continue;
        for (const MemberDescription* member : ShownProperties(*each.ownInterface))
            if (CompareNoCase(FromUtf8(member->name), FromUtf8(property)) == 0)
                text += (text.empty() ? "; it is a property: " : ", ") + TypeName(*each.ownInterface) + '.' +
                        std::string(member->name);
    }
    return text;
}

ExitStatus RunHelp(const HelpArguments& arguments) try {
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
    if (const std::string described = DescriptionText(arguments.topic); !described.empty()) {
        std::cout << described;
        return kDone;
    }
    std::cerr << "lumvex help: there is no command or class " << Quoted(arguments.topic)
              << DidYouMean(arguments.topic, names) << ClassesThatHave(arguments.topic) << '\n';
    return kIncomplete;
} catch (const PropertyError& error) {
    std::cerr << "lumvex help: " << error.what() << '\n';
    return kIncomplete;
}

}  // namespace

Command commands::Help() {
    const auto arguments = std::make_shared<HelpArguments>();
    return {.name = "help",
            .summary = "Print all about a command, a class or a property",
            .use = DocumentUse::None,
            .options = {{"TOPIC", &arguments->topic, kShown,
                         "a command, a class (Correction) or its property (Correction.OptMethod); all commands are "
                         "listed without it"},
                        {"--as",
                         &arguments->form,
                         {.shown = "FORM", .choices = {"man", "bash", "zsh", "json"}},
                         "print all commands as a manual page, as completion for a shell, or as JSON"}},
            .details =
                "Of a class its meaning and properties are printed, of a property its type, unit, range and words.\n"

                "`source <(lumvex help --as bash)` completes commands and options in the shell that runs; "
                "packages bring the\nmanual page and completion for bash and zsh along.",
            .incomplete = "there is no such command, class or property",
            .run = [arguments] { return RunHelp(*arguments); }};
}

}  // namespace lumvex::app
