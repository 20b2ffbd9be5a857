// The commands of the tool. Each adds itself, its arguments and its help to the parser, and puts what it has to run
// into `chosen` when the arguments name it.
#pragma once

#include <functional>

#include "exit_status.hpp"

namespace CLI {
class App;
}

namespace lumvex::app {

// Results go to standard output, errors and progress to standard error. May throw DocumentError and FileError.
using Command = std::function<ExitStatus()>;

void AddImport(CLI::App& app, Command& chosen);
void AddCatalogue(CLI::App& app, Command& chosen);
void AddCorrect(CLI::App& app, Command& chosen);
void AddCrossover(CLI::App& app, Command& chosen);
void AddProcessor(CLI::App& app, Command& chosen);
void AddTree(CLI::App& app, Command& chosen);
void AddInfo(CLI::App& app, Command& chosen);
void AddExport(CLI::App& app, Command& chosen);
void AddCompare(CLI::App& app, Command& chosen);
void AddCheck(CLI::App& app, Command& chosen);
void AddCompact(CLI::App& app, Command& chosen);

}  // namespace lumvex::app
