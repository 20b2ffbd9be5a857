#include "command_line/colours.hpp"

#include <cstdlib>
#include <string_view>

#include "command_line/terminal.hpp"

namespace lumvex::app {

namespace {

bool AreWanted() {
    const char* refused = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return (!refused || *refused == '\0') && (!terminal || std::string_view(terminal) != "dumb");
}

std::string Painted(Colour colour, const std::string& text) {
    const char* code = colour == Colour::Good      ? "32"
                       : colour == Colour::Bad     ? "31"
                       : colour == Colour::Changed ? "33"
                                                   : "1";
    return std::string("\x1b[") + code + 'm' + text + "\x1b[0m";
}

}  // namespace

std::string OnOutput(Colour colour, const std::string& text) {
    static const bool wanted = OutputGoesToTerminal() && AreWanted();
    return wanted ? Painted(colour, text) : text;
}

std::string OnErrors(Colour colour, const std::string& text) {
    static const bool wanted = ErrorsGoToTerminal() && AreWanted();
    return wanted ? Painted(colour, text) : text;
}

}  // namespace lumvex::app
