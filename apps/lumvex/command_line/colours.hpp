// Colours on a terminal: none where the output goes to a file or a pipe, where NO_COLOR is set, or on a dumb terminal.
#pragma once

#include <string>

namespace lumvex::app {

enum class Colour { Good, Bad, Added = Good, Removed = Bad, Changed, Name };

// The text as it is to be printed on standard output or on standard error.
std::string OnOutput(Colour colour, const std::string& text);
std::string OnErrors(Colour colour, const std::string& text);

}  // namespace lumvex::app
