// Prints what is made from the interface tables as text: the client headers and the reference manual's member tables.
//
//     lumvex_generate interfaces|projection|manual FILE
#include <cctype>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

#include "interfaces/tables.hpp"

namespace {

using namespace lumvex::tables;

bool IsPointer(std::string_view type) { return !type.empty() && type.back() == '*'; }

std::string_view Pointee(std::string_view type) { return type.substr(0, type.size() - 1); }

const Interface* FindInterface(std::string_view name) {
    for (const Interface& each : Interfaces())
        if (each.name == name) return &each;
    return nullptr;
}

const Coclass* CoclassOf(std::string_view interfaceName) {
    for (const Coclass& each : Coclasses())
        if (each.interface == interfaceName) return &each;
    return nullptr;
}

// IDatum -> Datum, _Root -> Root.
std::string_view ClientName(std::string_view interfaceName) {
    return interfaceName == "IDispatch" ? std::string_view("Object") : interfaceName.substr(1);
}

std::string Join(const std::vector<std::string>& parts) {
    std::string joined;
    for (const std::string& part : parts) joined += (joined.empty() ? "" : ", ") + part;
    return joined;
}

// "221E94A2-1416-4C12-9F2F-8C4A9C79799E" as the initialiser of a GUID.
std::string GuidInitialiser(std::string_view text) {
    std::string digits;
    for (const char c : text)
        if (c != '-') digits += c;
    const auto hex = [&](std::size_t at, std::size_t count) { return "0x" + digits.substr(at, count); };
    std::vector<std::string> bytes;
    for (std::size_t at = 16; at < 32; at += 2) bytes.push_back(hex(at, 2));
    return "{" + hex(0, 8) + ", " + hex(8, 4) + ", " + hex(12, 4) + ", {" + Join(bytes) + "}}";
}

// ---- interfaces.hpp: what crosses the boundary ----------------------------------------------------------------------

std::string Declaration(const Member& member) {
    std::vector<std::string> parameters;
    for (const Parameter& each : member.parameters) parameters.push_back(std::string(each.type) + " " + std::string(each.name));
    const std::string type(member.type);
    std::string name(member.name);
    switch (member.kind) {
        case Kind::Get:
            name = "get_" + name;
            parameters.push_back(type + "* pVal");
            break;
        case Kind::Put:
            name = "put_" + name;
            parameters.push_back(type + " newVal");
            break;
        case Kind::Method:
        case Kind::Test:
            parameters.push_back(type + "* pVal");
            break;
        case Kind::Action:
            break;
    }
    return "    virtual HRESULT STDMETHODCALLTYPE " + name + "(" + Join(parameters) + ") = 0;";
}

void PrintInterfaces(std::ostream& out) {
    out << "// The published interfaces as they cross the boundary: function tables in slot order, enumerations, identifiers.\n"
           "// Every method answers a status; a failing one leaves its text as the thread's error information. Texts, arrays and\n"
           "// interface pointers that a method gives belong to the caller. Made from the interface tables at build time.\n"
           "#pragma once\n\n#include \"lumvex/automation.hpp\"\n\n";
    for (const Enumeration& each : Enumerations()) {
        out << "// " << each.help << ".\nenum " << each.name << " : int {\n";
        for (const Constant& constant : each.constants) out << "    " << constant.name << " = " << constant.value << ",\n";
        out << "};\n\n";
    }
    for (const Interface& each : Interfaces()) out << "struct " << each.name << ";\n";
    for (const Interface& each : Interfaces()) {
        out << "\n// " << each.help << "\nstruct " << each.name << " : " << each.base << " {\n";
        for (const Member& member : each.members) out << Declaration(member) << "\n";
        out << "};\n";
    }
    out << "\nnamespace lumvex {\n\n";
    for (const Interface& each : Interfaces())
        out << "template <>\nstruct IidOf<::" << each.name << "> {\n    static constexpr GUID value = "
            << GuidInitialiser(each.iid) << ";\n};\n";
    out << "\n";
    for (const Coclass& each : Coclasses())
        out << "// " << each.description << "\ninline constexpr GUID kClassOf" << each.name << " = "
            << GuidInitialiser(each.clsid) << ";\n";
    out << "\n}  // namespace lumvex\n";
}

// ---- lumvex.hpp: the client projection ------------------------------------------------------------------------------

// How a value of a boundary type looks to a client of the projection.
std::string ClientResult(const Member& member) {
    if (member.type == "BSTR") return "std::u16string";
    if (member.type == "VARIANT" && (member.kind == Kind::Method || member.name == "LinkDispatch")) return "lumvex::Object";
    if (member.type == "VARIANT") return "lumvex::Variant";
    if (member.type == "IUnknown*") return "lumvex::Descendants";
    if (IsPointer(member.type)) return "lumvex::" + std::string(ClientName(Pointee(member.type)));
    return std::string(member.type);
}

std::string ClientParameter(std::string_view type, std::string_view name) {
    const std::string suffix = " " + std::string(name);
    if (type == "BSTR") return "std::u16string_view" + suffix;
    if (type == "VARIANT") return "const VARIANT&" + suffix;
    if (type == "IUnknown*") return "const lumvex::Object&" + suffix;
    if (IsPointer(type)) return "const lumvex::" + std::string(ClientName(Pointee(type))) + "&" + suffix;
    return std::string(type) + suffix;
}

std::string ClientArgument(std::string_view type, std::string_view name) {
    const std::string given(name);
    if (type == "BSTR") return "Bstr(" + given + ").get()";
    if (type == "IUnknown*") return given + ".Pointer()";
    if (IsPointer(type)) return given + ".Get()";
    return given;
}

std::string ProjectedMember(const Interface& owner, const Member& member) {
    std::vector<std::string> parameters, arguments;
    for (const Parameter& each : member.parameters) {
        parameters.push_back(ClientParameter(each.type, each.name) +
                             (each.defaultValue.empty() ? "" : " = " + std::string(each.defaultValue)));
        arguments.push_back(ClientArgument(each.type, each.name));
    }
    std::string slot(member.name);
    if (member.kind == Kind::Put) {
        slot = "put_" + slot;
        parameters.push_back(ClientParameter(member.type, "newVal"));
        arguments.push_back(ClientArgument(member.type, "newVal"));
    } else if (member.kind == Kind::Get) {
        slot = "get_" + slot;
    }
    const bool returns = member.kind != Kind::Put && member.kind != Kind::Action;
    const std::string result = returns ? ClientResult(member) : "void";
    std::string name(member.name);
    if (name == "_NewEnum") name = "Enumerate";
    const std::string head = "inline " + result + " " + std::string(ClientName(owner.name)) + "::" + name + "(";
    std::ostringstream text;
    std::vector<std::string> plain;
    for (const std::string& each : parameters) plain.push_back(each.substr(0, each.find(" = ")));
    text << head << Join(plain) << ")" << (returns ? " const" : "") << " {\n";
    if (returns) {
        text << "    return Received<" << result << ", " << member.type << ">([&](auto* pVal) { return Get()->" << slot << "(";
        for (const std::string& each : arguments) text << each << ", ";
        text << "pVal); });\n";
    } else {
        text << "    Check(Get()->" << slot << "(" << Join(arguments) << "));\n";
    }
    text << "}\n";
    return text.str();
}

std::string ProjectedDeclaration(const Member& member) {
    std::vector<std::string> parameters;
    for (const Parameter& each : member.parameters)
        parameters.push_back(ClientParameter(each.type, each.name) +
                             (each.defaultValue.empty() ? "" : " = " + std::string(each.defaultValue)));
    if (member.kind == Kind::Put) parameters.push_back(ClientParameter(member.type, "newVal"));
    const bool returns = member.kind != Kind::Put && member.kind != Kind::Action;
    std::string name(member.name);
    if (name == "_NewEnum") name = "Enumerate";
    return "    " + (returns ? ClientResult(member) : "void") + " " + name + "(" + Join(parameters) + ")" +
           (returns ? " const" : "") + ";  // " + std::string(member.help);
}

void PrintProjection(std::ostream& out) {
    out << "// Lumvex for C++ clients: each published interface as a class that reads like ordinary C++. Objects are counted\n"
           "// handles, texts are UTF-16 strings, a failing call throws lumvex::Error with the status and its text, and what a\n"
           "// search does not find is an empty handle. Made from the interface tables at build time.\n"
           "#pragma once\n\n#include \"lumvex/client.hpp\"\n#include \"lumvex/interfaces.hpp\"\n\nnamespace lumvex {\n\n";
    for (const Interface& each : Interfaces()) out << "class " << ClientName(each.name) << ";\n";
    for (const Interface& each : Interfaces()) {
        const std::string name(ClientName(each.name));
        out << "\n// " << each.help << "\nclass " << name << " : public " << ClientName(each.base) << " {\npublic:\n"
            << "    using Interface = ::" << each.name << ";\n"
            << "    " << name << "() = default;\n"
            << "    explicit " << name << "(Ref<::" << each.name << "> pointer) : " << ClientName(each.base)
            << "(std::move(pointer)) {}\n"
            << "    ::" << each.name << "* Get() const { return static_cast<::" << each.name << "*>(Pointer()); }\n";
        if (CoclassOf(each.name)) out << "    static " << name << " Create();  // a new, empty document\n";
        for (const Member& member : each.members) {
            out << ProjectedDeclaration(member) << "\n";
            if (member.name == "Item")
                out << "    auto begin() const { return ItemIterator<" << name << ">(*this, 1); }\n"
                    << "    auto end() const { return ItemIterator<" << name << ">(*this, Count() + 1); }\n";
        }
        out << "};\n";
    }
    out << "\n";
    for (const Interface& each : Interfaces()) {
        if (const Coclass* coclass = CoclassOf(each.name))
            out << "inline " << ClientName(each.name) << " " << ClientName(each.name) << "::Create() {\n    return "
                << ClientName(each.name) << "(CreateInstance<::" << each.name << ">(kClassOf" << coclass->name << "));\n}\n";
        for (const Member& member : each.members) out << ProjectedMember(each, member);
    }
    out << "\n}  // namespace lumvex\n";
}

// ---- the reference manual's tables ----------------------------------------------------------------------------------

void PrintManual(std::ostream& out) {
    out << "# Lumvex interfaces\n\nEvery published interface, member by member in slot order.\n";
    for (const Interface& each : Interfaces()) {
        out << "\n## " << each.name << "\n\n"
            << each.help << ", base `" << each.base << "`, ID {" << each.iid << "}\n\n"
            << "| DISPID | kind | member | type | meaning |\n| --- | --- | --- | --- | --- |\n";
        for (const Member& member : each.members) {
            static constexpr const char* kKinds[] = {"get", "put", "method", "method", "method"};
            std::vector<std::string> parameters;
            for (const Parameter& parameter : member.parameters)
                parameters.push_back(std::string(parameter.type) + " " + std::string(parameter.name) +
                                     (parameter.defaultValue.empty() ? "" : " = " + std::string(parameter.defaultValue)));
            out << "| " << member.id << " | " << kKinds[static_cast<int>(member.kind)] << " | `" << member.name
                << (parameters.empty() ? "" : "(" + Join(parameters) + ")") << "` | " << member.type << " | " << member.help
                << " |\n";
        }
    }
    out << "\n# Enumerations\n";
    for (const Enumeration& each : Enumerations()) {
        out << "\n## " << each.name << "\n\n" << each.help << "\n\n| name | value |\n| --- | --- |\n";
        for (const Constant& constant : each.constants) out << "| `" << constant.name << "` | " << constant.value << " |\n";
    }
}

// A type that names no known interface would only show when a client is compiled; it is refused here.
bool TablesHold() {
    for (const Interface& each : Interfaces()) {
        for (const Member& member : each.members) {
            if (!IsPointer(member.type) || Pointee(member.type) == "IUnknown" || Pointee(member.type) == "IDispatch") continue;
            if (FindInterface(Pointee(member.type))) continue;
            std::cerr << each.name << "." << member.name << " names " << member.type << ", which no table declares\n";
            return false;
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: lumvex_generate interfaces|projection|manual FILE\n";
        return 2;
    }
    if (!TablesHold()) return 1;
    const std::string_view what = argv[1];
    std::ostringstream text;
    if (what == "interfaces") {
        PrintInterfaces(text);
    } else if (what == "projection") {
        PrintProjection(text);
    } else if (what == "manual") {
        PrintManual(text);
    } else {
        std::cerr << "lumvex_generate: " << what << " is not something it makes\n";
        return 2;
    }
    std::ofstream file(argv[2], std::ios::binary);
    file << text.str();
    file.close();
    if (!file) {
        std::cerr << "lumvex_generate: cannot write " << argv[2] << "\n";
        return 1;
    }
    return 0;
}
