// lumvex: imports, designs, inspects, exports, compares and checks the documents of a measurement application.
#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <new>

#include "arguments.hpp"
#include "commands.hpp"
#include "document.hpp"
#include "files/file_error.hpp"
#include "terminal.hpp"

namespace lumvex::app {

namespace {

ExitStatus Run(const Command& command) {
    try {
        return command();
    } catch (const DocumentError& error) {
        std::cerr << error.what() << '\n';
        return kDocumentFailed;
    } catch (const FileError& error) {
        std::cerr << error.what() << '\n';
        return kIncomplete;
    } catch (const std::bad_alloc&) {
        std::cerr << "lumvex: out of memory\n";
        return kIncomplete;
    } catch (const std::exception& error) {
        std::cerr << "lumvex: " << error.what() << '\n';
        return kIncomplete;
    }
}

// Somebody who waits for the whole answer has to know when it did not arrive.
ExitStatus AfterOutput(ExitStatus status) {
    if (std::cout.flush() || !OutputHasReader()) return status;
    std::cerr << "lumvex: the output could not be written completely\n";
    return status == kDone ? kIncomplete : status;
}

int Main(int count, const char* const* values) {
    KeepRunningWithoutReader();
    CLI::App app("Imports, designs, inspects, exports, compares and checks Lumvex documents.", "lumvex");
    app.set_version_flag("--version", "lumvex " LUMVEX_TOOL_VERSION);
    app.require_subcommand(1);
    app.allow_windows_style_options(false);  // what begins with a slash is a path on every system
    app.footer("`lumvex COMMAND --help` says all about a command.");
    Command chosen;
    AddImport(app, chosen);
    AddCatalogue(app, chosen);
    AddCorrect(app, chosen);
    AddCrossover(app, chosen);
    AddProcessor(app, chosen);
    AddTree(app, chosen);
    AddInfo(app, chosen);
    AddExport(app, chosen);
    AddCompare(app, chosen);
    AddCheck(app, chosen);
    AddCompact(app, chosen);
    try {
        app.parse(ParserArguments(count, values));
    } catch (const CLI::ParseError& error) {
        if (app.get_subcommands().empty() && count > 1 && values[1][0] != '-') {
            std::cerr << "There is no command " << Quoted(values[1]) << "; `lumvex --help` lists all.\n";
            return kWrongUsage;
        }
        return AfterOutput(app.exit(error) == 0 ? kDone : kWrongUsage);
    }
    return AfterOutput(Run(chosen));
}

}  // namespace

}  // namespace lumvex::app

int main(int count, char** values) {
    const std::vector<std::string> line = lumvex::app::CommandLine(count, values);
    std::vector<const char*> texts;
    for (const std::string& each : line) texts.push_back(each.c_str());
    return lumvex::app::Main(static_cast<int>(texts.size()), texts.data());
}
