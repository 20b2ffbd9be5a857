#include <poll.h>
#include <unistd.h>

#include <csignal>

#include "terminal.hpp"

namespace lumvex::app {

// Arguments are passed on as the bytes that they are: names of files are bytes on this system, of any encoding.
std::vector<std::string> CommandLine(int count, char** values) { return {values, values + count}; }

void KeepRunningWithoutReader() { std::signal(SIGPIPE, SIG_IGN); }

bool OutputHasReader() {
    struct pollfd output {
        STDOUT_FILENO, POLLOUT, 0
    };
    return ::poll(&output, 1, 0) <= 0 || (output.revents & POLLERR) == 0;
}

bool ErrorsGoToTerminal() { return ::isatty(STDERR_FILENO) != 0; }

void BinaryInput() {}
void BinaryOutput() {}

}  // namespace lumvex::app
