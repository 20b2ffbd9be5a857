// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include <fcntl.h>
#include <io.h>

#include <cstdio>

#include "lumvex/values.hpp"
#include "terminal.hpp"

namespace lumvex::app {

// Reads the command line anew, because the arguments of main were converted to the system's code page, which lacks most
// characters.
std::vector<std::string> CommandLine(int, char**) {
    ::SetConsoleOutputCP(CP_UTF8);
    int count = 0;
    wchar_t** values = ::CommandLineToArgvW(::GetCommandLineW(), &count);
    std::vector<std::string> line;
    for (int at = 0; at < count; ++at) {
        const std::wstring value = values[at];
        line.push_back(ToUtf8(std::u16string(value.begin(), value.end())));
    }
    ::LocalFree(values);
    return line;
}

void KeepRunningWithoutReader() {}  // writing without a reader only fails on this system

bool OutputHasReader() { return true; }

bool ErrorsGoToTerminal() { return ::_isatty(::_fileno(stderr)) != 0; }

void BinaryInput() { ::_setmode(::_fileno(stdin), _O_BINARY); }
void BinaryOutput() { ::_setmode(::_fileno(stdout), _O_BINARY); }

}  // namespace lumvex::app
