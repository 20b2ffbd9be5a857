// What is made from the table of commands beside the help: the manual page, and the table itself.
#pragma once

#include <string>
#include <vector>

#include "command_line/command.hpp"

namespace lumvex::app {

std::string ManualPage(const std::vector<Command>& commands);    // for man, in roff
std::string CommandTable(const std::vector<Command>& commands);  // as JSON

// What the exit statuses of a command mean: status and meaning, by status.
std::vector<std::pair<int, std::string>> ExitStatuses(const Command& command);

}  // namespace lumvex::app
