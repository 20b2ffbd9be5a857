#include "measurements/piped_input.hpp"

#include <cerrno>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>

#include "command_line/terminal.hpp"
#include "files/file_error.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

std::string AllOf(std::istream& in, const fs::path& path) {
    errno = 0;
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    if (in.bad()) throw FileError(path, LastSystemError());
    return bytes;
}

std::string Received(const fs::path& path) {
    if (IsStandardInput(path)) {
        BinaryInput();
        return AllOf(std::cin, path);
    }
    errno = 0;
    std::ifstream pipe(path, std::ios::binary);
    if (!pipe) throw FileError(path, LastSystemError());
    return AllOf(pipe, path);
}

}  // namespace

bool IsStandardInput(const fs::path& path) { return path == "-"; }

bool IsStandardOutput(const fs::path& path) { return path == "-" || path == "/dev/stdout"; }

bool IsPiped(const fs::path& path) {
    std::error_code ignored;
    return IsStandardInput(path) || fs::is_fifo(path, ignored);
}

std::iostream& PipedInput(const fs::path& path) {
    static std::map<fs::path, std::stringstream> kept;
    auto known = kept.find(path);
    if (known == kept.end()) known = kept.emplace(path, std::stringstream(Received(path))).first;
    known->second.clear();
    known->second.seekg(0);
    return known->second;
}

}  // namespace lumvex::app
