// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "command_line/terminal.hpp"
#include "lumvex/values.hpp"

namespace lumvex::app {

namespace {

// Escape sequences are text to consoles unless they are told otherwise.
void UnderstandColours(DWORD which) {
    constexpr DWORD kSequences = 4;  // older SDKs lack its name
    const HANDLE console = ::GetStdHandle(which);
    DWORD mode = 0;
    if (::GetConsoleMode(console, &mode)) ::SetConsoleMode(console, mode | kSequences);
}

}  // namespace

// Reads the command line anew, because the arguments of main were converted to the system's code page, which lacks most
// characters.
std::vector<std::string> CommandLine(int, char**) {
    ::SetConsoleOutputCP(CP_UTF8);
    UnderstandColours(STD_OUTPUT_HANDLE);
    UnderstandColours(STD_ERROR_HANDLE);
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

bool OutputGoesToTerminal() { return ::_isatty(::_fileno(stdout)) != 0; }
bool ErrorsGoToTerminal() { return ::_isatty(::_fileno(stderr)) != 0; }

void BinaryInput() { ::_setmode(::_fileno(stdin), _O_BINARY); }
void BinaryOutput() { ::_setmode(::_fileno(stdout), _O_BINARY); }

std::vector<std::filesystem::path> Expanded(const std::filesystem::path& path) {
    std::vector<std::filesystem::path> files;
    if (path.filename().native().find_first_of(L"*?") != std::wstring::npos) {
        WIN32_FIND_DATAW found;
        const HANDLE search = ::FindFirstFileW(path.c_str(), &found);
        if (search != INVALID_HANDLE_VALUE) {
            do {
                const bool isShown = (found.dwFileAttributes & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_DIRECTORY)) == 0;
                if (isShown) files.push_back(path.parent_path() / found.cFileName);
            } while (::FindNextFileW(search, &found));
            ::FindClose(search);
        }
    }
    std::ranges::sort(files);
    if (files.empty()) files.push_back(path);
    return files;
}

namespace {

constexpr int kEndedByInterruption = 130;
const char* (*lastWordsOfRun)() = nullptr;

// Runs on a thread of its own.
BOOL WINAPI HandleInterruption(DWORD) {
    const char* text = lastWordsOfRun();
    if (!text) return TRUE;
    DWORD written = 0;
    ::WriteFile(::GetStdHandle(STD_ERROR_HANDLE), text, static_cast<DWORD>(std::strlen(text)), &written, nullptr);
    ::ExitProcess(kEndedByInterruption);
}

}  // namespace

void OnInterruption(const char* (*lastWords)()) {
    lastWordsOfRun = lastWords;
    ::SetConsoleCtrlHandler(HandleInterruption, TRUE);
}

void EndInterrupted() { std::_Exit(kEndedByInterruption); }

}  // namespace lumvex::app
