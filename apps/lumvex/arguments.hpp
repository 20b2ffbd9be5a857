// The command line, as the commands' rows of options describe it.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "command.hpp"

namespace lumvex::app {

// The command that the command line names (one of `commands`), with the targets of its options filled. When there is
// nothing to run, the exit status instead: the help or the version has been printed, or standard error says what is
// wrong with the usage. `arguments` comes without the program's name.
std::variant<const Command*, ExitStatus> ParseArguments(const std::vector<Command>& commands,
                                                        std::vector<std::string> arguments);

}  // namespace lumvex::app
