// Opens and saves documents for the commands. Errors say which document it was, what was tried and why it failed.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "command_line/run_options.hpp"
#include "command_line/status_text.hpp"
#include "lumvex/lumvex.hpp"

namespace lumvex::app {

// what(): "room.lvp: cannot be opened: it is no compound file (status 0x80030050)", on one line.
class DocumentError : public std::runtime_error {
public:
    DocumentError(const std::filesystem::path& document, const std::string& attempt, const std::string& reason);
    DocumentError(const std::filesystem::path& document, const std::string& attempt, const Error& reason);
};

// Somebody else made a file at the path of a new document before that was saved. The command can be run again.
class MadeMeanwhile : public DocumentError {
public:
    MadeMeanwhile(const std::filesystem::path& document, const std::string& attempt);
};

// Runs `work`, which opens the document, again while others have it locked and --wait allows that.
template <class Work>
decltype(auto) WhenFree(Work&& work) {
    for (;;) {
        try {
            return work();
        } catch (const Error& error) {
            if (error.Status() != STG_E_SHAREVIOLATION || !WaitedForOthers()) throw;
        }
    }
}

// Runs `work`, which uses the document, and turns an Error of the library into a DocumentError. `attempt` says what
// failed then: "cannot be opened".
template <class Work>
decltype(auto) OnDocument(const std::filesystem::path& document, const char* attempt, Work&& work) {
    try {
        return std::forward<Work>(work)();
    } catch (const Error& error) {
        throw DocumentError(document, attempt, error);
    }
}

// Opens the project in an existing file. Throws DocumentError.
Project OpenProject(const std::filesystem::path& document, LXAccessMode mode);

// A document of either kind: a project, or a library of manufacturers, models and microphones.
using AnyDocument = std::variant<Project, Specifications>;

// Opens an existing file as the kind of document that it holds. Throws DocumentError.
AnyDocument OpenDocument(const std::filesystem::path& document, LXAccessMode mode);

// The interface that both kinds share.
Root RootOf(const AnyDocument& document);

// A document that a command changes and saves once, as the table of commands says. With DocumentUse::Makes a path
// without a file gets a new one: a project (.lvp) or a library (.lvs). Save() makes the file, unless somebody else has
// made one there meanwhile.
class EditedDocument {
public:
    // Of a command that changes documents. A document that is not there is made where `use` says so. Throws
    // DocumentError, also for a document that a newer version wrote and this one would damage.
    explicit EditedDocument(std::filesystem::path path, DocumentUse use = CurrentRun().use);

    const std::filesystem::path& Path() const { return path_; }
    bool IsNew() const { return isNew_; }
    const Project* AsProject() const { return std::get_if<Project>(&document_); }
    const AnyDocument& Any() const { return document_; }
    const Specifications* AsLibrary() const { return std::get_if<Specifications>(&document_); }
    // Reports that a new document was created. With --dry-run it only says that nothing was saved. Throws
    // DocumentError; `attempt`: "cannot be saved, nothing was imported".
    void Save(const char* attempt);

private:
    std::filesystem::path path_;
    bool isNew_;
    AnyDocument document_;
};

// The path as the library takes it. Throws DocumentError for a name that is no valid UTF-8.
std::u16string PathText(const std::filesystem::path& document);

// Text of a document made fit to print: control characters, line ends among them, become visible signs.
std::string Shown(std::u16string_view text);

}  // namespace lumvex::app
