// Documents as the commands meet them: opened and saved with errors that say which document, what was tried and why it
// failed.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "lumvex/lumvex.hpp"

namespace lumvex::app {

// what(): "room.lvp: cannot be opened: it is no compound file (status 0x80030050)", on one line.
class DocumentError : public std::runtime_error {
public:
    DocumentError(const std::filesystem::path& document, const std::string& attempt, const std::string& reason);
    DocumentError(const std::filesystem::path& document, const std::string& attempt, const Error& reason);
};

// Runs work on the document; a failure of the library becomes a DocumentError. `attempt`: "cannot be opened".
template <class Work>
decltype(auto) OnDocument(const std::filesystem::path& document, const char* attempt, Work&& work) {
    try {
        return std::forward<Work>(work)();
    } catch (const Error& error) {
        throw DocumentError(document, attempt, error);
    }
}

// The project in an existing file.
Project OpenProject(const std::filesystem::path& document, LXAccessMode mode);

// The path as the library takes it. Throws DocumentError for a name that is no valid UTF-8.
std::u16string PathText(const std::filesystem::path& document);

// The reason of a failed call in words and with its status; on one line.
std::string Describe(const Error& error);

// Text of a document for people to read: one line, whatever it holds; control characters as their pictures.
std::string Shown(std::u16string_view text);

}  // namespace lumvex::app
