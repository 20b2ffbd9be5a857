// The options that say what a measurement file does not say itself, shared by the commands that read such files, and
// the names that files get in a document.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "command_line/command.hpp"
#include "files/measurement_file.hpp"

namespace lumvex::app {

struct ReadingArguments {
    std::string as, columns, decimal, rate;
    bool force = false;
    std::string name, prefix;
};

// Options whose values go into `arguments`, for a command's table.
std::vector<Option> ReadingOptions(ReadingArguments& arguments);

extern const char* const kReadingHelp;

std::string ProblemOfRate(const std::string& text);  // what is wrong with a sample rate in Hz; empty: nothing

ReadOptions ReadOptionsOf(const ReadingArguments& arguments);

// What is wrong with the names of so many files; empty: nothing.
std::string ProblemOfNames(const ReadingArguments& arguments, std::size_t files);

// Reads the file, a pipe, or standard input for "-", and gives it its name in a document. Throws FileError.
MeasurementFile ReadNamed(const std::filesystem::path& path, const ReadingArguments& arguments);

}  // namespace lumvex::app
