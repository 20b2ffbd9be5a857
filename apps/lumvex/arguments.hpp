// What the commands share of their arguments and help.
#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <string>
#include <vector>

namespace lumvex::app {

// The parser's order (last first) of a program's arguments. Files whose names look like options or like lists get their
// folder in front, so that the parser takes them for what they are.
std::vector<std::string> ParserArguments(int count, const char* const* values);

// Options that take paths. What the parser hands on is UTF-8 on every system, the system's own narrow text need not be.
CLI::Option* AddPath(CLI::App& command, const std::string& name, std::filesystem::path& path, const std::string& help);
CLI::Option* AddPaths(CLI::App& command, const std::string& name, std::vector<std::filesystem::path>& paths,
                      const std::string& help);

// Adds the positional argument DOC.
CLI::Option* AddDocument(CLI::App& command, std::filesystem::path& document, const std::string& help);

// The last paragraph of a command's help; `incomplete` says what status 1 means for it.
std::string ExitStatusHelp(const std::string& incomplete);

}  // namespace lumvex::app
