#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>

#include "command_line/terminal.hpp"

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

bool OutputGoesToTerminal() { return ::isatty(STDOUT_FILENO) != 0; }
bool ErrorsGoToTerminal() { return ::isatty(STDERR_FILENO) != 0; }

void BinaryInput() {}
void BinaryOutput() {}

// Shells expand wildcards here, and files may have such characters in their names.
std::vector<std::filesystem::path> Expanded(const std::filesystem::path& path) { return {path}; }

namespace {

const char* (*lastWordsOfRun)() = nullptr;

void EndBy(int signal) {
    std::signal(signal, SIG_DFL);
    ::raise(signal);
}

extern "C" void HandleInterruption(int signal) {
    const char* text = lastWordsOfRun();
    if (!text) return;
    const ssize_t ignored = ::write(STDERR_FILENO, text, std::strlen(text));
    static_cast<void>(ignored);
    EndBy(signal);  // once the handler has returned
}

}  // namespace

void OnInterruption(const char* (*lastWords)()) {
    lastWordsOfRun = lastWords;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        ::sigaction(signal, nullptr, &before);
        if (before.sa_handler == SIG_IGN) continue;  // as of programs that run in the background
        struct sigaction now {};
        now.sa_handler = HandleInterruption;
        now.sa_flags = SA_RESTART;
        ::sigemptyset(&now.sa_mask);
        ::sigaction(signal, &now, nullptr);
    }
}

void EndInterrupted() {
    EndBy(SIGINT);
    std::_Exit(128 + SIGINT);
}

}  // namespace lumvex::app
