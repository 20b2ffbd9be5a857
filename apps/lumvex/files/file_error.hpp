// The exception that everything in this folder throws: it says which file, which line, what was expected there and what
// was found.
#pragma once

#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace lumvex::app {

class FileError : public std::runtime_error {
public:
    // "path: reason": the file as a whole.
    FileError(const std::filesystem::path& path, const std::string& reason);
    FileError(const std::filesystem::path& path, const std::error_code& reason);

    // "path:line: expected ..., found ...": lines count from 1; 0 leaves the line out.
    FileError(const std::filesystem::path& path, std::size_t line, const std::string& expected,
              const std::string& found);

    const std::filesystem::path& Path() const { return path_; }
    std::size_t Line() const { return line_; }                 // 0: the whole file
    const std::string& Expected() const { return expected_; }  // empty: nothing particular

private:
    std::filesystem::path path_;
    std::size_t line_ = 0;
    std::string expected_;
};

// The reason of the system call that failed last, for streams, which keep no reason of their own.
[[nodiscard]] std::error_code LastSystemError();

// Text of a file in quotation marks for a message: shortened, valid UTF-8, without control characters.
[[nodiscard]] std::string Quoted(std::string_view text);

}  // namespace lumvex::app
