// What the tool has to know of the streams it writes to.
#pragma once

namespace lumvex::app {

// Writing to a pipe whose reader is gone becomes a failed write; by default it would end the program in its work.
void KeepRunningWithoutReader();

// Is there somebody to read standard output? A reader that had enough, as `head` does, is no failure.
bool OutputHasReader();

bool ErrorsGoToTerminal();

}  // namespace lumvex::app
