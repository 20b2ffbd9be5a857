// How a command ended, as the shell sees it; the same for every command, and part of every command's help.
#pragma once

namespace lumvex::app {

enum ExitStatus : int {
    kDone = 0,
    kIncomplete = 1,      // a file failed, a name was not found, a difference or a problem was found
    kWrongUsage = 2,      // nothing was done
    kDocumentFailed = 3,  // the document could not be opened, read or saved
};

}  // namespace lumvex::app
