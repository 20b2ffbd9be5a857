// lumvex: imports, designs, inspects, exports, compares and checks the documents of a measurement application.
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
        return command.run();
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

// Reports output that could not be written, as on a full disk; a caller would take what arrived for the whole answer.
ExitStatus AfterOutput(ExitStatus status) {
    if (std::cout.flush() || !OutputHasReader()) return status;
    std::cerr << "lumvex: the output could not be written completely\n";
    return status == kDone ? kIncomplete : status;
}

int Main(std::vector<std::string> arguments) {
    KeepRunningWithoutReader();
    const std::vector<Command> commands = AllCommands();
    const auto parsed = ParseArguments(commands, std::move(arguments));
    const auto* const* command = std::get_if<const Command*>(&parsed);
    return AfterOutput(command ? Run(**command) : std::get<ExitStatus>(parsed));
}

}  // namespace

}  // namespace lumvex::app

int main(int count, char** values) {
    std::vector<std::string> arguments = lumvex::app::CommandLine(count, values);
    if (!arguments.empty()) arguments.erase(arguments.begin());  // the program's own name
    return lumvex::app::Main(std::move(arguments));
}
