// What the command line says for a whole run, whichever command it is. Filled before the command runs.
#pragma once

#include <chrono>
#include <iosfwd>

#include "command_line/command.hpp"

namespace lumvex::app {

struct RunOptions {
    DocumentUse use = DocumentUse::None;
    bool quiet = false;   // print no reports and no progress
    bool dryRun = false;  // do everything but the save
    float wait = 0;       // seconds for which a document that others have locked is tried again
};

RunOptions& CurrentRun();

// Where commands report what they have done: standard error, so that standard output holds data alone; nowhere with
// --quiet.
std::ostream& Reports();

// Waits a moment for what others have locked, and tells whether to try again: not when --wait is over.
bool WaitedForOthers();

}  // namespace lumvex::app
