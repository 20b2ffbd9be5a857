// Objects of a document by the path of their names, as people type it, and the path of an object, as it is printed:
//
//     Left/Bi amp/Measurements/On axis         the measurement "On axis" of the speaker "Left"
//     SpeakerEQs/Left/Bi amp/Measurements      the collection
//     {5281BFCB-CB56-4B5D-A88E-D0B028D7B626}   the object of this ID
//
// A step is the name of a collection's property, the name of a member, or a member's place: "[2]"; "Take[2]" is the
// second of those named "Take". The collection may be left out. Names are compared regardless of case; a step that is
// no whole name may be the beginning of one, as long as it fits one object alone. Speaker configurations are found by
// their words as well ("bi-amp"). In quotation marks, single or double ones, a step is the whole name of a member,
// whatever it contains; a backslash there takes the next character as it is (\n, \r, \t and \uXXXX as in JSON).
//
//     Exp*/O*                                  all members of "Experiments" whose names begin with O
//     Left/**/On*                              all objects anywhere below "Left" whose names begin with On
//
// A step with * (any characters) or ? (any one) is a pattern. It fits members, and collections that are named; as the
// last step it fits collections only where it fits no member. The step "**" is any number of steps, none as well; as
// the last one it is every item below.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "objects/node.hpp"

namespace lumvex::app {

// The rules above for the help of commands that take addresses.
extern const char* const kAddressHelp;

// One step of an address.
struct Step {
    std::u16string name;        // of the collection or member; empty with an index alone
    std::optional<LONG> place;  // "[2]"
    bool isQuoted = false;      // a member's whole name
    bool isPattern = false;     // the name has * or ? for any characters, or any one
    bool isAnySteps = false;    // "**"
    std::string text;           // as it was typed
};

// The steps of a path. Throws std::invalid_argument with the words for what is wrong: "a quotation mark is not closed".
std::vector<Step> StepsOf(std::string_view path);

// Does the text fit the pattern, in which * stands for any characters and ? for any one? Regardless of case.
bool FitsPattern(std::u16string_view text, std::u16string_view pattern);

// Finds objects of one document.
class Addresses {
public:
    // `document` is named in errors.
    Addresses(std::filesystem::path document, Node root) : document_(std::move(document)), root_(std::move(root)) {}

    // The object of the address; the root for "/" and for the empty text. Throws FileError, which says how far the path
    // leads and what there is, or which objects it fits.
    Node Find(std::string_view address) const;

    // The same from an object on.
    Node Find(const Node& from, std::string_view address) const;

    // All objects that the address fits; its steps may be patterns ("Left/*/Measurements/On*"). Throws FileError when
    // there is none.
    std::vector<Node> FindAll(std::string_view address) const;
    std::vector<Node> FindAll(const Node& from, std::string_view address) const;

    // The same for what is to be changed: of this document, not of its library, which is read alone and never saved
    // with it. Throws FileError for that, too.
    Node FindOwn(std::string_view address) const;
    std::vector<Node> FindAllOwn(std::string_view address) const;
    void RequireOwn(std::string_view address, const Node& object) const;

    // The target of a reference to objects of `type`: an address in the document, or in the library that the project is
    // linked to where such objects are kept there.
    Node FindTarget(const InterfaceDescription& type, std::string_view address) const;

private:
    [[noreturn]] void Refuse(std::string_view address, const std::string& reason) const;
    std::vector<Step> Steps(std::string_view address) const;
    std::vector<Node> Resolved(const Node& from, std::string_view address) const;
    Node OnlyOne(std::string_view address, const std::vector<Node>& found) const;

    std::filesystem::path document_;
    Node root_;
};

// The addresses of a document's objects, such that Addresses::Find() finds each and nothing else; "/" is the root's.
// Only what is needed is quoted and counted; a collection is named where its owner has several. Remembers the names of
// the members of every collection on the way, so that the paths of all objects cost what their names cost; it is not
// to be used any more when a name has changed, or an object was added or removed.
class Paths {
public:
    std::string Of(const Node& object);

private:
    std::map<std::u16string, std::map<std::u16string, std::string>> steps_;  // by ID of collection and member
};

inline std::string PathOf(const Node& object) { return Paths().Of(object); }

// A name as a step that finds it, quoted where it has to be.
std::string StepText(std::u16string_view name, bool isQuoted = false);

}  // namespace lumvex::app
