// Measurements from standard input and pipes, and to standard output.
#pragma once

#include <filesystem>
#include <iostream>

namespace lumvex::app {

// "-" stands for standard input.
bool IsStandardInput(const std::filesystem::path& path);

// "-" stands for standard output. /dev/stdout is taken for it, too: where a shell has sent that into a file, the path
// leads to the file itself.
bool IsStandardOutput(const std::filesystem::path& path);

// Is it standard input or a pipe, such as <(...) of a shell?
bool IsPiped(const std::filesystem::path& path);

// All that came through it, from the beginning. It is kept, because a command may run a second time when its document
// was made meanwhile. Throws FileError.
std::iostream& PipedInput(const std::filesystem::path& path);

}  // namespace lumvex::app
