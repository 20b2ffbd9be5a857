// Files that hold objects of a document as JSON (objects/exchange.hpp).
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "command_line/exit_status.hpp"
#include "objects/opened.hpp"

namespace lumvex::app {

// Is it such a file, by its name? What comes through a pipe is read to tell it.
bool IsObjectFile(const std::filesystem::path& path);
bool HoldsObjects(const std::filesystem::path& path);  // throws FileError

// Writes the objects of the addresses, or the whole document, with everything below them; "-" is standard output.
// What cannot be read is told on standard error and left out: kIncomplete. Throws FileError, and leaves an existing
// file as it was then.
ExitStatus ExportObjects(const ReadDocument& document, std::vector<std::string> addresses,
                         const std::filesystem::path& output, bool force);

// Adds the objects of a file to a document. Answers their addresses. Throws FileError; the document must not be saved
// then.
std::vector<std::string> ImportObjects(EditedDocument& document, const std::filesystem::path& path, bool replace);

}  // namespace lumvex::app
