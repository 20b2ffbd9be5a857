// Prints what is made from the interface tables as text: the client headers, the reference manual's member tables and
// the definition that becomes the type library.
//
//     lumvex_generate interfaces|projection|manual|definition FILE
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
        if (each.defaultInterface == interfaceName) return &each;
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

std::vector<std::string> Texts(const std::vector<Parameter>& parameters) {
    std::vector<std::string> texts;
    for (const Parameter& each : parameters)
        texts.push_back(std::string(each.type) + " " + std::string(each.name) +
                        (each.defaultValue.empty() ? "" : " = " + std::string(each.defaultValue)));
    return texts;
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

// A method of a name that a base has too would hide the base's.
bool Overloads(const Interface& owner, const Member& member) {
    for (const Interface* base = FindInterface(owner.base); base; base = FindInterface(base->base))
        for (const Member& each : base->members)
            if (member.kind == Kind::Method && each.kind == Kind::Method && each.name == member.name) return true;
    return false;
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
        for (const Member& member : each.members) {
            if (Overloads(each, member)) out << "    using " << each.base << "::" << member.name << ";\n";
            out << Declaration(member) << "\n";
        }
        out << "};\n";
    }
    const Events& events = OutgoingEvents();
    out << "\n// " << events.help << ": how both roots tell of changes. A sink is called through IDispatch by these DISPIDs:\n";
    for (const Member& member : events.members)
        out << "//     " << member.id << " " << member.name << "(" << Join(Texts(member.parameters)) << ")\n";
    out << "struct " << events.name << " : IDispatch {};\n";
    out << "\nnamespace lumvex {\n\n";
    out << "template <>\nstruct IidOf<::" << events.name << "> {\n    static constexpr GUID value = "
        << GuidInitialiser(events.iid) << ";\n};\n";
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

// An object that may be left out is an empty handle.
std::string DefaultOf(const Parameter& parameter) {
    if (parameter.defaultValue.empty()) return "";
    return IsPointer(parameter.type) ? "{}" : std::string(parameter.defaultValue);
}

std::string ClientArgument(std::string_view type, std::string_view name) {
    const std::string given(name);
    if (type == "BSTR") return "Bstr(" + given + ").get()";
    if (type == "IUnknown*") return given + ".Pointer()";
    if (IsPointer(type)) return given + ".Get()";
    return given;
}

// One member of a client class: how it is declared and what it calls.
struct Projected {
    std::string name, result, slot;
    bool returns;
    std::vector<std::string> declared, parameters, arguments;  // declared: with defaults
};

Projected Project(const Member& member) {
    Projected made;
    made.name = member.name == "_NewEnum" ? "Enumerate" : std::string(member.name);
    made.returns = member.kind != Kind::Put && member.kind != Kind::Action;
    made.result = made.returns ? ClientResult(member) : "void";
    made.slot = (member.kind == Kind::Get ? "get_" : member.kind == Kind::Put ? "put_" : "") + std::string(member.name);
    const auto add = [&](std::string_view type, std::string_view name, std::string_view defaultValue) {
        made.parameters.push_back(ClientParameter(type, name));
        made.declared.push_back(made.parameters.back() + (defaultValue.empty() ? "" : " = " + std::string(defaultValue)));
        made.arguments.push_back(ClientArgument(type, name));
    };
    for (const Parameter& each : member.parameters) add(each.type, each.name, DefaultOf(each));
    if (member.kind == Kind::Put) add(member.type, "newVal", "");
    return made;
}

void PrintDeclaration(std::ostream& out, const Member& member) {
    const Projected made = Project(member);
    out << "    " << made.result << " " << made.name << "(" << Join(made.declared) << ")" << (made.returns ? " const" : "")
        << ";  // " << member.help << "\n";
}

void PrintDefinition(std::ostream& out, std::string_view owner, const Member& member) {
    const Projected made = Project(member);
    out << "inline " << made.result << " " << owner << "::" << made.name << "(" << Join(made.parameters) << ")"
        << (made.returns ? " const" : "") << " {\n";
    if (made.returns) {
        out << "    return Received<" << made.result << ", " << member.type << ">([&](auto* pVal) { return Get()->" << made.slot
            << "(";
        for (const std::string& each : made.arguments) out << each << ", ";
        out << "pVal); });\n}\n";
    } else {
        out << "    Check(Get()->" << made.slot << "(" << Join(made.arguments) << "));\n}\n";
    }
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
            PrintDeclaration(out, member);
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
        for (const Member& member : each.members) PrintDefinition(out, ClientName(each.name), member);
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
            out << "| " << member.id << " | " << kKinds[static_cast<int>(member.kind)] << " | `" << member.name
                << (member.parameters.empty() ? "" : "(" + Join(Texts(member.parameters)) + ")") << "` | " << member.type << " | " << member.help
                << " |\n";
        }
    }
    const Events& events = OutgoingEvents();
    out << "\n## " << events.name << "\n\n" << events.help << ", the outgoing interface of both roots, ID {" << events.iid
        << "}\n\n| DISPID | member | meaning |\n| --- | --- | --- |\n";
    for (const Member& member : events.members)
        out << "| " << member.id << " | `" << member.name << "(" << Join(Texts(member.parameters)) << ")` | " << member.help
            << " |\n";
    out << "\n# Enumerations\n";
    for (const Enumeration& each : Enumerations()) {
        out << "\n## " << each.name << "\n\n" << each.help << "\n\n| name | value |\n| --- | --- |\n";
        for (const Constant& constant : each.constants) out << "| `" << constant.name << "` | " << constant.value << " |\n";
    }
}

// ---- the type library's definition ----------------------------------------------------------------------------------

std::string DefinedType(std::string_view type) {
    if (type == "LONG") return "long";
    if (type == "SHORT") return "short";
    return std::string(type);
}

// What may be left out has a default, which for an object is none.
std::string DefinedParameter(const Parameter& parameter) {
    const std::string attributes =
        parameter.defaultValue.empty() ? "" : ", defaultvalue(" + std::string(parameter.defaultValue) + ")";
    return "[in" + attributes + "] " + DefinedType(parameter.type) + " " + std::string(parameter.name);
}

std::string DefinedMember(const Member& member, std::string_view result) {
    std::vector<std::string> parameters;
    for (const Parameter& each : member.parameters) parameters.push_back(DefinedParameter(each));
    if (member.kind == Kind::Put)
        parameters.push_back("[in] " + DefinedType(member.type) + " newVal");
    else if (member.kind != Kind::Action)
        parameters.push_back("[out, retval] " + DefinedType(member.type) + "* pVal");
    const char* kind = member.kind == Kind::Get ? "propget, " : member.kind == Kind::Put ? "propput, " : "";
    std::ostringstream text;
    text << "[" << kind << "id(" << member.id << "), helpstring(\"" << member.help << "\")] " << result << " "
         << member.name << "(" << Join(parameters) << ");\n";
    return text.str();
}

void PrintTypeLibrary(std::ostream& out) {
    const Library& library = TypeLibrary();
    out << "// The type library. Made from the interface tables at build time.\nimport \"oaidl.idl\";\n\n[uuid("
        << library.id << "), version(" << library.majorVersion << "." << library.minorVersion << "), helpstring(\""
        << library.help << "\")]\nlibrary " << library.name << " {\n    importlib(\"stdole2.tlb\");\n\n";
    for (const Enumeration& each : Enumerations()) {
        out << "    typedef [v1_enum, helpstring(\"" << each.help << "\")] enum " << each.name << " {\n";
        for (const Constant& constant : each.constants)
            out << "        " << constant.name << " = " << constant.value
                << (&constant == &each.constants.back() ? "\n" : ",\n");
        out << "    } " << each.name << ";\n";
    }
    for (const Interface& each : Interfaces()) out << "    interface " << each.name << ";\n";
    for (const Interface& each : Interfaces()) {
        out << "\n    [object, uuid(" << each.iid << "), dual, oleautomation, helpstring(\"" << each.help
            << "\")]\n    interface " << each.name << " : " << each.base << " {\n";
        for (const Member& member : each.members) out << "        " << DefinedMember(member, "HRESULT");
        out << "    };\n";
    }
    const Events& events = OutgoingEvents();
    out << "\n    [uuid(" << events.iid << "), helpstring(\"" << events.help << "\")]\n    dispinterface " << events.name
        << " {\n    properties:\n    methods:\n";
    for (const Member& member : events.members) out << "        " << DefinedMember(member, "HRESULT");
    out << "    };\n";
    for (const Coclass& each : Coclasses())
        out << "\n    [uuid(" << each.clsid << "), helpstring(\"" << each.description << "\")]\n    coclass " << each.name
            << " {\n        [default] interface " << each.defaultInterface << ";\n        [default, source] dispinterface "
            << events.name << ";\n    };\n";
    out << "}\n";
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
        std::cerr << "usage: lumvex_generate interfaces|projection|manual|definition FILE\n";
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
    } else if (what == "definition") {
        PrintTypeLibrary(text);
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
