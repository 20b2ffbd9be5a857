// What the Python package is made of: a table from which its compiled module builds a class for each interface, and the
// stub that tells type checkers and editors of the same classes.
#include <algorithm>
#include <cctype>
#include <map>

#include "interfaces/generate/printing.hpp"

namespace lumvex::tables {

namespace {

// What Python has a notation for: doc[...], len(), in, del, ==, lumvex.open() and the methods of documents that have
// the names that files have in Python.
bool HasNotation(std::string_view member) {
    static constexpr std::string_view kNames[] = {"Item",          "Count",    "_NewEnum",   "Remove",
                                                  "FindNameExact", "IsSame",   "NameExists", "RemoveAll",
                                                  "OpenFile",      "SaveFile", "CloseFile",  "SaveFileAs"};
    return std::ranges::find(kNames, member) != std::end(kNames);
}

// Names whose capitals do not tell the words, and those that Python users know under another name.
std::string_view KnownName(std::string_view member) {
    static const std::map<std::string_view, std::string_view> kNames{
        {"GaindB", "gain_db"},        {"LinkDispatch", "linked"},
        {"SampleRate", "samplerate"}, {"NewDescendantsEnum", "descendants"},
        {"SpeakerEQs", "speakers"},   {"NewDependentLinksEnum", "dependent_links"}};
    const auto found = kNames.find(member);
    return found == kNames.end() ? std::string_view() : found->second;
}

bool IsUpper(char c) { return std::isupper(static_cast<unsigned char>(c)) != 0; }
char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

// "MicSerialNo" -> "mic_serial_no", "SPLScale" -> "spl_scale", "XdA_FIR" -> "xda_fir".
std::string SnakeName(std::string_view name) {
    if (const std::string_view known = KnownName(name); !known.empty()) return std::string(known);
    std::string snake;
    if (name.starts_with("XdA_")) {
        snake = "xda_";
        name.remove_prefix(4);
    }
    for (std::size_t at = 0; at < name.size(); ++at) {
        const bool isAfterWord = at > 0 && !IsUpper(name[at - 1]) && name[at - 1] != '_';
        const bool isPlural =
            at + 1 < name.size() && name[at + 1] == 's' && (at + 2 == name.size() || IsUpper(name[at + 2]));
        const bool beginsWord = at > 0 && at + 1 < name.size() && IsUpper(name[at - 1]) && !IsUpper(name[at + 1]) &&
                                !isPlural && std::isalpha(static_cast<unsigned char>(name[at + 1]));
        if (IsUpper(name[at]) && (isAfterWord || beginsWord)) snake += '_';
        snake += Lower(name[at]);
    }
    return snake;
}

// "sName" -> "name", "pModel" -> "model", "nIndex" -> "index": without the letter for the type.
std::string ParameterName(std::string_view name) {
    const bool hasPrefix = name.size() > 1 && std::string_view("bnps").find(name[0]) != std::string_view::npos;
    return SnakeName(hasPrefix && IsUpper(name[1]) ? name.substr(1) : name);
}

std::string ClassName(std::string_view interface) {
    if (interface == "_Collectable") return "Item";
    if (interface == "_Collection") return "Collection";
    if (interface == "_Root") return "Document";
    return std::string(interface.substr(1));
}

// The word in capitals; without a word the published name without the library's prefix.
std::string ValueName(const Constant& constant) {
    if (constant.word.empty()) return std::string(constant.name.substr(std::string_view("LX_").size()));
    std::string name;
    for (const char c : constant.word)
        name += c == '-' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return name;
}

// ---- types ----

bool IsWhole(std::string_view type) { return type == "LONG" || type == "SHORT" || type == "int"; }

// Whole numbers of which only 0 and 1 mean something, and answers to questions, are truth values.
bool IsTruth(const Member& member) {
    if (!IsWhole(member.type)) return false;
    return member.kind != Kind::Property || (member.range && member.range->lowest == 0 && member.range->highest == 1);
}

bool LeadsUp(const Member& member) {
    static constexpr std::string_view kNames[] = {"Parent", "Root", "ParentBase", "RootBase"};
    return std::ranges::find(kNames, member.name) != std::end(kNames);
}

bool IsCollection(std::string_view interface) {
    const Interface* found = FindInterface(interface);
    if (!found) return false;
    for (const Member& each : found->members)
        if (each.name == "Item") return true;
    return false;
}

bool IsArray(const Member& member) {
    return member.kind == Kind::Property && member.type == "VARIANT" && member.name != "LinkDispatch" &&
           member.name != "Modified";
}

std::string ReadType(const Member& member) {
    if (IsTruth(member)) return "bool";
    if (IsWhole(member.type)) return "int";
    if (FindEnumeration(member.type)) return std::string(member.type);
    if (member.type == "float") return "float";
    if (member.type == "BSTR") return "str";
    if (member.type == "DATE") return "datetime | float";
    if (member.type == "void") return "None";
    if (member.type == "IUnknown*") return "Iterator[Item]";
    if (IsArray(member)) return "Array | None";
    if (member.name == "Modified") return "bool";
    if (member.type == "VARIANT") return member.name.starts_with("Copy") ? "Item" : "Object | None";
    const bool isThere = LeadsUp(member) || IsCollection(Pointee(member.type)) || member.kind != Kind::Property ||
                         !member.parameters.empty();
    if (member.type == "_Collection*") return "Collection[Any]";
    return ClassName(Pointee(member.type)) + (isThere ? "" : " | None");
}

std::string WriteType(const Member& member) {
    if (FindEnumeration(member.type)) return std::string(member.type) + " | int | str";
    if (IsArray(member)) return "ArrayLike | None";
    return ReadType(member);
}

std::string ParameterType(const Parameter& parameter) {
    if (parameter.type == "BSTR") return "str";
    if (parameter.type == "IUnknown*") return "Object";
    if (!IsPointer(parameter.type)) return parameter.name.starts_with("b") ? "bool" : "int";
    if (parameter.type == "_Collection*") return "Collection[Any]";
    return ClassName(Pointee(parameter.type)) + (parameter.defaultValue.empty() ? "" : " | None");
}

// Of an indexed property the type of all its values: Indexed[Indexed[float]].
std::string Nested(const Member& member, std::string type, const char* of) {
    for (std::size_t at = 0; at < member.parameters.size(); ++at)
        type = std::string(of).append("[").append(type).append("]");
    return type;
}

// ---- texts ----

// What other clients learn from a status, Python users see: None.
std::string Docstring(const Member& member) {
    std::string text = MeaningWithUnit(member);
    static constexpr std::string_view kNothing = "empty and S_FALSE";
    if (const std::size_t at = text.find(kNothing); at != text.npos) text.replace(at, kNothing.size(), "None");
    if (member.kind != Kind::Property) return text;
    Texts facts{Nested(member, ReadType(member), "sequence")};
    if (member.range && !IsTruth(member))
        facts.push_back(member.range->highest
                            ? std::to_string(member.range->lowest) + " to " + std::to_string(*member.range->highest)
                            : "at least " + std::to_string(member.range->lowest));
    if (!(member.access & Put)) facts.push_back("cannot be set");
    return text + "\n\n" + Join(facts, "; ") + ".";
}

std::string CText(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    return quoted + "\"";
}

void PrintDocstring(std::ostream& out, const std::string& indent, const std::string& text) {
    out << indent << "\"\"\"" << text << "\"\"\"\n";
}

// ---- the table ----

template <class Rows>
std::size_t PlaceOf(const Rows& rows, std::string_view name) {
    return static_cast<std::size_t>(std::ranges::find(rows, name, &Rows::value_type::name) - rows.begin());
}

void PrintMemberRows(std::ostream& out, const Interface& interface) {
    for (const Member& member : interface.members) {
        if (member.parameters.empty()) continue;
        Texts names;
        for (const Parameter& each : member.parameters) names.push_back(CText(ParameterName(each.name)));
        out << "inline constexpr const char* k" << interface.name << "_" << member.name << "[] = {" << Join(names)
            << "};\n";
    }
    out << "inline constexpr PublishedMember k" << interface.name << "[] = {\n";
    std::size_t place = 0;
    for (const Member& member : interface.members) {
        const std::string parameters =
            member.parameters.empty() ? "{}" : "k" + std::string(interface.name) + "_" + std::string(member.name);
        out << "    {" << CText(HasNotation(member.name) ? "" : SnakeName(member.name)) << ", "
            << CText(Docstring(member)) << ",\n     described::k" << interface.name << "[" << place++ << "], "
            << parameters << ", " << (IsTruth(member) ? "true" : "false") << "},\n";
    }
    out << "};\n";
}

void PrintEnumerationRows(std::ostream& out) {
    for (const Enumeration& each : Enumerations()) {
        out << "inline constexpr PublishedValue k" << each.name << "[] = {\n";
        for (const Constant& constant : each.constants)
            out << "    {" << CText(ValueName(constant)) << ", " << constant.value << "},\n";
        out << "};\n";
    }
    out << "inline constexpr PublishedEnumeration kPublishedEnumerations[] = {\n";
    for (const Enumeration& each : Enumerations())
        out << "    {kEnumerations[" << PlaceOf(Enumerations(), each.name) << "], k" << each.name << "},\n";
    out << "};\n";
}

// ---- the stub ----

void PrintProperty(std::ostream& out, const Member& member) {
    const std::string read = Nested(member, ReadType(member), "Indexed");
    out << "    " << SnakeName(member.name) << ": ";
    if (member.access & Put)
        out << "Property[" << read << ", " << Nested(member, WriteType(member), "Sequence") << "]\n";
    else
        out << "ReadOnly[" << read << "]\n";
    PrintDocstring(out, "    ", Docstring(member));
}

void PrintMethod(std::ostream& out, const Member& member) {
    Texts parameters{"self"};
    for (const Parameter& each : member.parameters)
        parameters.push_back(ParameterName(each.name) + ": " + ParameterType(each) +
                             (each.defaultValue.empty() ? "" : " = ..."));
    if (member.name == "Add") parameters.push_back("**properties: Any");
    out << "    def " << SnakeName(member.name) << "(" << Join(parameters) << ") -> " << ReadType(member) << ":\n";
    PrintDocstring(out, "        ", Docstring(member));
}

// "Collection[Datum]" for IData; what is based on no shared interface is an object or collection all the same.
std::string PythonBase(const Interface& interface) {
    for (const Member& each : interface.members)
        if (each.name == "Item") {
            const char* base = interface.base == "_Collection" ? "Collection[" : "CollectionBase[";
            return base + ClassName(Pointee(each.type)) + "]";
        }
    if (interface.name == "_Collectable") return "ItemBase";
    if (interface.name == "_Collection") return "CollectionBase[M]";
    if (interface.name == "_Root") return "DocumentBase";
    return FindInterface(interface.base) ? ClassName(interface.base) : "ObjectBase";
}

}  // namespace

void PrintPythonTable(std::ostream& out) {
    out << "// How Python sees what is published: the names and docstrings of classes and members. Printed from the "
           "interface\n// tables.\n#pragma once\n\n#include \"module/published.hpp\"\n\nnamespace "
           "lumvex::python::printed {\n\n";
    for (const Interface& each : Interfaces()) PrintMemberRows(out, each);
    out << "\ninline constexpr PublishedClass kPublishedClasses[] = {\n";
    std::size_t place = 0;
    for (const Interface& each : Interfaces())
        out << "    {" << CText(ClassName(each.name)) << ", kInterfaces[" << place++ << "], k" << each.name << "},\n";
    out << "};\n\n";
    PrintEnumerationRows(out);
    out << "\n}  // namespace lumvex::python::printed\n";
}

void PrintPythonStub(std::ostream& out) {
    out << "# The classes of lumvex for type checkers and editors. Printed from the interface tables.\n"
           "from datetime import datetime\nfrom enum import IntEnum, IntFlag\n"
           "from typing import Any, Iterator, Sequence, TypeVar\n\n"
           "from numpy.typing import ArrayLike\n\n"
           "from ._lumvex import Property, ReadOnly\n"
           "from ._objects import Array, CollectionBase, DocumentBase, Indexed, ItemBase, ObjectBase as Object, "
           "ObjectBase\n\nM = TypeVar(\"M\", bound=ObjectBase)\n\n__all__ = [\n";
    for (const Enumeration& each : Enumerations()) out << "    \"" << each.name << "\",\n";
    for (const Interface& each : Interfaces()) out << "    \"" << ClassName(each.name) << "\",\n";
    out << "]\n";
    for (const Enumeration& each : Enumerations()) {
        out << "\nclass " << each.name << "(" << (each.kind == Bits ? "IntFlag" : "IntEnum") << "):\n";
        PrintDocstring(out, "    ", std::string(each.help) + ".");
        for (const Constant& constant : each.constants)
            out << "    " << ValueName(constant) << " = " << constant.value
                << (constant.meaning.empty() ? "" : "  # " + std::string(constant.meaning)) << "\n";
    }
    for (const Interface& each : Interfaces()) {
        out << "\nclass " << ClassName(each.name) << "(" << PythonBase(each) << "):\n";
        PrintDocstring(out, "    ", std::string(each.meaning));
        for (const Member& member : each.members) {
            if (HasNotation(member.name)) continue;
            if (member.kind == Kind::Property)
                PrintProperty(out, member);
            else
                PrintMethod(out, member);
        }
    }
}

}  // namespace lumvex::tables
