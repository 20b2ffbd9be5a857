#include <io.h>

#include <cstdio>

#include "terminal.hpp"

namespace lumvex::app {

void KeepRunningWithoutReader() {}  // a failed write is nothing but that here

bool OutputHasReader() { return true; }

bool ErrorsGoToTerminal() { return ::_isatty(::_fileno(stderr)) != 0; }

}  // namespace lumvex::app
