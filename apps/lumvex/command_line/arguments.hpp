// The command line, as the commands' rows of options describe it.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "command_line/command.hpp"

namespace lumvex::app {

// Finds the command that the command line names (one of `commands`) and fills the targets of its options. Returns the
// exit status instead when there is nothing to run: the help or the version has been printed, or standard error says
// what is wrong with the usage. `arguments` are without the program's name.
std::variant<const Command*, ExitStatus> ParseArguments(const std::vector<Command>& commands,
                                                        std::vector<std::string> arguments);

}  // namespace lumvex::app
