// What differs between systems in how the tool is called and what it writes to.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace lumvex::app {

// The program's name and arguments as UTF-8, given those of main. On Windows it also sets the console to UTF-8, in
// which the tool prints on every system.
std::vector<std::string> CommandLine(int count, char** values);

// Makes writing to a pipe whose reader has gone an ordinary failed write. By default it would end the program, in the
// middle of a save perhaps.
void KeepRunningWithoutReader();

// Tells whether anybody still reads standard output. A reader that stops early, as `head` does, is no failure.
bool OutputHasReader();

bool OutputGoesToTerminal();
bool ErrorsGoToTerminal();

// Take the bytes of standard input, or give those of standard output, as they are: some systems change line ends.
void BinaryInput();
void BinaryOutput();

// Where the system's shells leave wildcards to programs: the files that the path's last part matches, by name, or the
// path itself where it matches none. Elsewhere the path itself.
std::vector<std::filesystem::path> Expanded(const std::filesystem::path& path);

// When the user interrupts the program, or the system asks it to end, prints what `lastWords` answers on standard error
// and ends the program as the system does; where it answers null, the program goes on. It is called at any moment, on
// any thread.
void OnInterruption(const char* (*lastWords)());

// Ends the program as an interruption does.
[[noreturn]] void EndInterrupted();

}  // namespace lumvex::app
