// The description of everything published as plain data that programs read at run time.
#include "interfaces/generate/printing.hpp"

namespace lumvex::tables {

namespace {

constexpr const char* kDeclarations =
    R"(// What is published, as data: every class and interface with its members, every enumeration with the words for its
// values. For programs that explore a document, show or change whatever they find, or make something else of it: late
// binding takes the names and DISPIDs that stand here. All of it is constant; nothing is made or freed. Printed from the
// interface tables at build time.
#pragma once

#include <algorithm>
#include <limits>
#include <optional>
#include <span>
#include <string_view>

namespace lumvex {

// The values between which something lies, both included. `highest` is kNoLimit where it depends on the object, as the
// number of a collection's members does.
struct RangeDescription {
    static constexpr long kNoLimit = std::numeric_limits<long>::max();
    long lowest = 0, highest = kNoLimit;
};

// One value of an enumeration. People write the word; a value without one is not to be chosen (a count, or a place).
struct ValueDescription {
    std::string_view name;  // "LX_OM_MINDELAY"
    long value;
    std::string_view word, meaning;  // "min-delay"
};

struct EnumerationDescription {
    std::string_view name, meaning;
    bool isCombined;  // its values are bits
    std::span<const ValueDescription> values;

    // The value of a word, letter case as it is; null for none.
    constexpr const ValueDescription* OfWord(std::string_view word) const {
        for (const ValueDescription& each : values)
            if (!word.empty() && each.word == word) return &each;
        return nullptr;
    }
    // The first value of a number; null for none.
    constexpr const ValueDescription* OfValue(long value) const {
        for (const ValueDescription& each : values)
            if (each.value == value) return &each;
        return nullptr;
    }
};

struct ParameterDescription {
    std::string_view name, type;
    bool isOptional;      // the caller may leave it out: then it is defaultValue
    long defaultValue;
    bool isIndex;         // it has a range, which the member enforces
    RangeDescription range;
};

// How a member is used. A method may have a result; it has when its type is not "void".
enum class MemberUse { ReadOnly, ReadWrite, Method };

struct InterfaceDescription;

struct MemberDescription {
    std::string_view name;
    long id;  // DISPID
    MemberUse use;
    // Of the property or of the result, as it crosses the boundary: "LONG", "SHORT", "float", "DATE" (days since 30
    // December 1899), "BSTR", "VARIANT" (an array, an object or a truth value), an enumeration's name, or an interface's
    // name with "*" behind it; "void" for none.
    std::string_view type;
    const EnumerationDescription* enumeration;  // of its type; null for another
    const InterfaceDescription* objectInterface;  // of the object that it answers; null for another and for IUnknown
    std::span<const ParameterDescription> parameters;
    std::string_view unit;  // "Hz"; empty where the value has none
    bool hasRange;          // are there values that mean nothing?
    RangeDescription range;
    std::string_view meaning;  // for people: a sentence or two
    // The first record version that keeps the property; older documents leave it at its default. Nothing for what the
    // object's own record does not keep.
    std::optional<unsigned> keptSince;
};

struct InterfaceDescription {
    std::string_view name;             // "IMeasurement"
    const InterfaceDescription* base;  // whose members it has too; null: only those of IDispatch
    std::string_view id;               // "66FCFCF7-7F19-49B9-A650-7361AA09F5D1"
    std::string_view meaning;
    std::span<const MemberDescription> members;  // its own, in the order of its function table

    // The member of a name, letter case as it is, of the interface or of a base; null for none.
    constexpr const MemberDescription* Find(std::string_view member) const {
        for (const InterfaceDescription* each = this; each; each = each->base) {
            const auto found = std::ranges::find(each->members, member, &MemberDescription::name);
            if (found != each->members.end()) return &*found;
        }
        return nullptr;
    }
};

// A class whose objects a document keeps.
struct ClassDescription {
    enum class Kind { Root, Collection, Item };
    std::string_view name;  // "CMeasurement"
    Kind kind;
    std::string_view id;  // as the file and its object directory have it
    const InterfaceDescription* ownInterface;
    const ClassDescription* member;  // of a collection: the class of its members
    std::string_view title;          // of a collection: its name
    std::string_view progId;         // of a root: by which scripts create it, without version
    std::string_view description;    // of a root: how the system lists it
};

)";

constexpr const char* kSearches = R"(
// ---- searches, letter case as it is; null for none ----

constexpr const InterfaceDescription* FindInterfaceDescription(std::string_view name) {
    const auto* found = std::ranges::find(kInterfaces, name, &InterfaceDescription::name);
    return found != std::end(kInterfaces) ? found : nullptr;
}

constexpr const EnumerationDescription* FindEnumerationDescription(std::string_view name) {
    const auto* found = std::ranges::find(kEnumerations, name, &EnumerationDescription::name);
    return found != std::end(kEnumerations) ? found : nullptr;
}

// The class that offers an interface; IConfigs and IConfig stand outside the tree and have none.
constexpr const ClassDescription* FindClassDescription(std::string_view interfaceName) {
    for (const ClassDescription& each : kClasses)
        if (each.ownInterface->name == interfaceName) return &each;
    return nullptr;
}

}  // namespace lumvex
)";

std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + "\"";
}

template <class Rows>
std::string AddressIn(const Rows& rows, const char* array, std::string_view name) {
    for (std::size_t at = 0; at < rows.size(); ++at)
        if (rows[at].name == name) return std::string("&") + array + "[" + std::to_string(at) + "]";
    return "nullptr";
}

std::string EnumerationOf(std::string_view type) { return AddressIn(Enumerations(), "kEnumerations", type); }

std::string InterfaceOf(std::string_view type) {
    return IsPointer(type) ? AddressIn(Interfaces(), "kInterfaces", Pointee(type)) : "nullptr";
}

std::string RangeText(const std::optional<Range>& range) {
    if (!range) return "false, {}";
    return "true, {" + std::to_string(range->lowest) + (range->highest ? ", " + std::to_string(*range->highest) : "") +
           "}";
}

void PrintEnumerations(std::ostream& out) {
    out << "// ---- the enumerations ----\n\nnamespace described {\n\n";
    for (const Enumeration& each : Enumerations()) {
        out << "inline constexpr ValueDescription k" << each.name << "[] = {\n";
        for (const Constant& constant : each.constants)
            out << "    {" << Quoted(constant.name) << ", " << constant.value << ", " << Quoted(constant.word) << ", "
                << Quoted(constant.meaning) << "},\n";
        out << "};\n";
    }
    out << "\n}  // namespace described\n\ninline constexpr EnumerationDescription kEnumerations[] = {\n";
    for (const Enumeration& each : Enumerations())
        out << "    {" << Quoted(each.name) << ", " << Quoted(std::string(each.help) + ".") << ", "
            << (each.kind == Bits ? "true" : "false") << ", described::k" << each.name << "},\n";
    out << "};\n\n";
}

const char* UseOf(const Member& member) {
    if (member.kind != Kind::Property) return "Method";
    return member.access & Put ? "ReadWrite" : "ReadOnly";
}

std::string KeptSince(std::string_view interfaceName, std::string_view property) {
    for (const Kept& each : KeptProperties())
        if (each.interfaceName == interfaceName && each.property == property) return std::to_string(each.since);
    return "std::nullopt";
}

void PrintMember(std::ostream& out, const Interface& owner, const Member& member) {
    const std::string parameters =
        member.parameters.empty() ? "{}" : "k" + std::string(owner.name) + "_" + std::string(member.name);
    out << "    {" << Quoted(member.name) << ", " << member.id << ", MemberUse::" << UseOf(member) << ", "
        << Quoted(member.type) << ", " << EnumerationOf(member.type) << ", " << InterfaceOf(member.type) << ",\n     "
        << parameters << ", " << Quoted(member.unit) << ", " << RangeText(member.range) << ", "
        << Quoted(member.meaning) << ", " << KeptSince(owner.name, member.name) << "},\n";
}

void PrintParameters(std::ostream& out, const Interface& interface) {
    for (const Member& member : interface.members) {
        if (member.parameters.empty()) continue;
        out << "inline constexpr ParameterDescription k" << interface.name << "_" << member.name << "[] = {\n";
        for (const Parameter& each : member.parameters)
            out << "    {" << Quoted(each.name) << ", " << Quoted(each.type) << ", "
                << (each.defaultValue.empty() ? "false, 0" : "true, " + std::string(each.defaultValue)) << ", "
                << RangeText(each.range) << "},\n";
        out << "};\n";
    }
}

void PrintInterfaceRows(std::ostream& out) {
    const std::size_t count = Interfaces().size();
    out << "// ---- the interfaces, base before derived ----\n\nextern const InterfaceDescription kInterfaces[" << count
        << "];\n\nnamespace described {\n\n";
    for (const Interface& each : Interfaces()) {
        PrintParameters(out, each);
        out << "inline constexpr MemberDescription k" << each.name << "[] = {\n";
        for (const Member& member : each.members) PrintMember(out, each, member);
        out << "};\n";
    }
    out << "\n}  // namespace described\n\ninline constexpr InterfaceDescription kInterfaces[" << count << "] = {\n";
    for (const Interface& each : Interfaces())
        out << "    {" << Quoted(each.name) << ", " << AddressIn(Interfaces(), "kInterfaces", each.base) << ", "
            << Quoted(each.iid) << ", " << Quoted(each.meaning) << ", described::k" << each.name << "},\n";
    out << "};\n\n";
}

void PrintClassRows(std::ostream& out) {
    out << "// ---- the classes ----\n\ninline constexpr ClassDescription kClasses[" << Classes().size() << "] = {\n";
    static constexpr const char* kKinds[] = {"Root", "Collection", "Item"};
    for (const Class& each : Classes()) {
        const Coclass* coclass = CoclassOf(each.interfaceName);
        out << "    {" << Quoted(each.name) << ", ClassDescription::Kind::" << kKinds[each.kind] << ", "
            << Quoted(each.id) << ", " << AddressIn(Interfaces(), "kInterfaces", each.interfaceName) << ", "
            << AddressIn(Classes(), "kClasses", each.member) << ", " << Quoted(each.title) << ", "
            << Quoted(coclass ? coclass->progId : "") << ", " << Quoted(coclass ? coclass->description : "") << "},\n";
    }
    out << "};\n";
}

}  // namespace

void PrintMembers(std::ostream& out) {
    out << kDeclarations;
    PrintEnumerations(out);
    PrintInterfaceRows(out);
    PrintClassRows(out);
    out << kSearches;
}

}  // namespace lumvex::tables
