// What shells complete the command line with, made from the table of commands.
#pragma once

#include <string>
#include <vector>

#include "command_line/command.hpp"

namespace lumvex::app {

std::string BashCompletion(const std::vector<Command>& commands);
std::string ZshCompletion(const std::vector<Command>& commands);

}  // namespace lumvex::app
