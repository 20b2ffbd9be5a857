// Documents as the commands meet them: opened and saved with errors that say which document, what was tried and why it
// failed.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

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

// A document of either kind: a project, or a library of manufacturers, models and microphones.
using AnyDocument = std::variant<Project, Specifications>;

// Whatever an existing file holds.
AnyDocument OpenDocument(const std::filesystem::path& document, LXAccessMode mode);

// What both kinds can do.
Root RootOf(const AnyDocument& document);

enum class Missing { IsMade, IsRefused };

// A document that a command changes and saves once. One that is no file yet becomes one with Save, where that is asked
// for: a library where its extension is .lvs, else a project.
class EditedDocument {
public:
    // Throws DocumentError, also for one that must not be changed.
    explicit EditedDocument(std::filesystem::path path, Missing missing = Missing::IsMade);

    const std::filesystem::path& Path() const { return path_; }
    bool IsNew() const { return isNew_; }
    const Project* AsProject() const { return std::get_if<Project>(&document_); }
    const Specifications* AsLibrary() const { return std::get_if<Specifications>(&document_); }
    void Save(const char* attempt);  // throws DocumentError; `attempt`: "cannot be saved, nothing was imported"

private:
    std::filesystem::path path_;
    bool isNew_;
    AnyDocument document_;
};

// The path as the library takes it. Throws DocumentError for a name that is no valid UTF-8.
std::u16string PathText(const std::filesystem::path& document);

// The reason of a failed call in words and with its status; on one line.
std::string Describe(const Error& error);

// Text of a document for people to read: one line, whatever it holds; control characters as their pictures.
std::string Shown(std::u16string_view text);

}  // namespace lumvex::app
