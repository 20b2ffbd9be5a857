#include "files/file_error.hpp"

#include <cerrno>

#include "files/text_encoding.hpp"

namespace lumvex::app {

namespace {

constexpr std::size_t kLongestQuotation = 60;

std::string Place(const std::filesystem::path& path, std::size_t line) {
    std::string place = Utf8(path);
    if (line != 0) place.append(":").append(std::to_string(line));
    return place.append(": ");
}

}  // namespace

FileError::FileError(const std::filesystem::path& path, const std::string& reason)
    : std::runtime_error(Place(path, 0) + reason), path_(path) {}

FileError::FileError(const std::filesystem::path& path, const std::error_code& reason)
    : FileError(path, reason.message()) {}

FileError::FileError(const std::filesystem::path& path, std::size_t line, const std::string& expected,
                     const std::string& found)
    : std::runtime_error(Place(path, line) + "expected " + expected + ", found " + found),
      path_(path),
      line_(line),
      expected_(expected) {}

std::error_code LastSystemError() {
    // A stream may fail without a system call, and errno is then 0: only the failure itself is known.
    return errno != 0 ? std::error_code(errno, std::generic_category()) : std::make_error_code(std::errc::io_error);
}

std::string Quoted(std::string_view text) {
    const bool shortened = text.size() > kLongestQuotation;
    if (shortened) {
        text = text.substr(0, kLongestQuotation);
        while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xC0) == 0x80) text.remove_suffix(1);
        if (!text.empty() && static_cast<unsigned char>(text.back()) >= 0xC0) text.remove_suffix(1);
    }
    std::string shown = "\"";
    for (char c : ValidUtf8(text)) {
        const bool control = static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
        shown += control ? ' ' : c;
    }
    return shown + (shortened ? "...\"" : "\"");
}

}  // namespace lumvex::app
