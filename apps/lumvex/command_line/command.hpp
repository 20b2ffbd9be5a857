// What a command of the tool is: its place in the help, what it takes from the command line, and what it does.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "command_line/exit_status.hpp"

namespace lumvex::app {

// What a command does with DOC.
enum class DocumentUse {
    None,  // it takes none
    Reads,
    Changes,  // through EditedDocument, which is saved once
    Makes,    // changes it, and creates it when there is none
};

// Where the value of an option goes. A flag becomes true; a list gets one more value each time.
using Target =
    std::variant<bool*, float*, std::string*, std::filesystem::path*, std::optional<short>*,
                 std::optional<std::string>*, std::vector<std::string>*, std::vector<std::filesystem::path>*>;

// What an option takes. Flags take nothing: `{}`.
struct Value {
    std::string shown;                                                   // in the help: "NAME"
    std::function<std::string(const std::string&)> problemOf = nullptr;  // what is wrong with a value; empty: nothing
    std::vector<std::string> choices = {};                               // when not empty, no other value is accepted
};

extern const Value kName;   // text that must not be empty
extern const Value kFile;   // path of a file
extern const Value kShown;  // of an argument that the help shows by its own name alone: "DOC"

// How options depend on each other; others are meant by their names, "--speaker".
struct Rules {
    bool required = false;
    std::vector<std::string> needs = {};       // the option needs all of these beside it
    std::vector<std::string> needsOneOf = {};  // the option needs at least one of these beside it
    std::vector<std::string> excludes = {};    // none of these may be beside it
};

// One row of a command's help. A name that begins with dashes is an option ("-o,--output"); one without is an argument
// that is told by its position ("DOC"), and a list there takes all that follows.
struct Option {
    std::string name;
    Target target;  // has to live until the command has run
    Value value;
    std::string help;
    Rules rules = {};
};

bool IsPositional(const Option& option);
bool TakesValue(const Option& option);
std::string ValueName(const Option& option);  // the word for its value: "FILE"; "VALUE" for one of some choices
bool IsList(const Option& option);
bool IsPath(const Option& option);
std::vector<std::string> NamesOf(const Option& option);  // "-o" and "--output" of "-o,--output"

// The argument DOC, which every command takes first.
Option DocumentOption(std::filesystem::path& document, const std::string& help);

struct Command {
    std::string name;     // "check"
    std::string summary;  // one line for the list of commands
    DocumentUse use = DocumentUse::Reads;
    std::vector<Option> options;  // in the order of the help
    std::string details;          // the help's paragraphs below the options, without an end of line after the last
    std::string incomplete;       // what exit status 1 means for this command: "problems were found"

    // Does the command's work after the targets of its options have been filled. Data go to standard output; reports
    // (run_options.hpp), errors and progress to standard error. May throw DocumentError and FileError. May be called a
    // second time after a MadeMeanwhile.
    std::function<ExitStatus()> run;
};

std::vector<std::string> NamesOf(const std::vector<Command>& commands);

// Gives a command the options that follow from its use of DOC: --wait, --dry-run, --quiet.
Command WithCommonOptions(Command command);

}  // namespace lumvex::app
