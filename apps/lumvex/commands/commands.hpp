// The table of the tool's commands. Each has a file of its own in commands/ and a row in commands.def.
#pragma once

#include <vector>

#include "command_line/command.hpp"

namespace lumvex::app {

namespace commands {
#define LUMVEX_COMMAND(function) Command function();
#include "commands/commands.def"
}  // namespace commands

// All of them, in the order of the help.
inline std::vector<Command> AllCommands() {
    return {
#define LUMVEX_COMMAND(function) WithCommonOptions(commands::function()),
#include "commands/commands.def"
    };
}

}  // namespace lumvex::app
