// What the tool has to know of who calls it, and of the streams it writes to.
#pragma once

#include <string>
#include <vector>

namespace lumvex::app {

// The program's name and arguments as UTF-8, from those that main was given. From then on the narrow names of files are
// UTF-8 too, as on every system they are printed.
std::vector<std::string> CommandLine(int count, char** values);

// Writing to a pipe whose reader is gone becomes a failed write; by default it would end the program in its work.
void KeepRunningWithoutReader();

// Is there somebody to read standard output? A reader that had enough, as `head` does, is no failure.
bool OutputHasReader();

bool ErrorsGoToTerminal();

}  // namespace lumvex::app
