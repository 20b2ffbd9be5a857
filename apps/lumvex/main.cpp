// lumvex: imports, designs, inspects, exports, compares and checks the documents of a measurement application.
#include <exception>
#include <iostream>
#include <new>

#include "command_line/arguments.hpp"
#include "command_line/colours.hpp"
#include "command_line/interruption.hpp"
#include "command_line/terminal.hpp"
#include "commands/commands.hpp"
#include "documents/document.hpp"
#include "files/file_error.hpp"

namespace lumvex::app {

namespace {

ExitStatus Failed(ExitStatus status, const std::string& reason) {
    std::cerr << OnErrors(Colour::Bad, reason) << '\n';
    return status;
}

ExitStatus Run(const Command& command) {
    for (;;) {
        try {
            return command.run();
        } catch (const MadeMeanwhile& error) {
            if (!WaitedForOthers()) return Failed(kDocumentFailed, error.what());
            Reports() << error.what() << "; starting again\n";
        } catch (const DocumentError& error) {
            return Failed(kDocumentFailed, error.what());
        } catch (const FileError& error) {
            return Failed(kIncomplete, error.what());
        } catch (const std::bad_alloc&) {
            return Failed(kIncomplete, "lumvex: out of memory");
        } catch (const std::exception& error) {
            return Failed(kIncomplete, std::string("lumvex: ") + error.what());
        }
    }
}

// Reports output that could not be written, as on a full disk; a caller would take what arrived for the whole answer.
ExitStatus AfterOutput(ExitStatus status) {
    if (std::cout.flush() || !OutputHasReader()) return status;
    std::cerr << "lumvex: the output could not be written completely\n";
    return status == kDone ? kIncomplete : status;
}

int Main(std::vector<std::string> arguments) {
    KeepRunningWithoutReader();
    ListenForInterruption();
    const std::vector<Command> commands = AllCommands();
    const auto parsed = ParseArguments(commands, std::move(arguments));
    const auto* const* command = std::get_if<const Command*>(&parsed);
    try {
        return AfterOutput(command ? Run(**command) : std::get<ExitStatus>(parsed));
    } catch (const Interrupted&) {
        std::cerr << "lumvex: interrupted, nothing was changed\n";
        EndInterrupted();
    }
}

}  // namespace

}  // namespace lumvex::app

int main(int count, char** values) {
    std::vector<std::string> arguments = lumvex::app::CommandLine(count, values);
    if (!arguments.empty()) arguments.erase(arguments.begin());  // the program's own name
    return lumvex::app::Main(std::move(arguments));
}
