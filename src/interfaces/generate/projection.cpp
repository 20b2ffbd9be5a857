#include "interfaces/generate/printing.hpp"

namespace lumvex::tables {

namespace {

// IDatum -> Datum, _Root -> Root.
std::string_view ClientName(std::string_view interfaceName) {
    return interfaceName == "IDispatch" ? std::string_view("Object") : interfaceName.substr(1);
}

// How a value of a boundary type looks to a client of the projection.
std::string ClientResult(const Member& member) {
    if (member.type == "BSTR") return "std::u16string";
    if (member.type == "VARIANT" && (member.kind == Kind::Method || member.name == "LinkDispatch"))
        return "lumvex::Object";
    if (member.type == "VARIANT") return member.name == "Modified" ? "bool" : "lumvex::Array";
    if (member.type == "IUnknown*") return "lumvex::Descendants";
    if (IsPointer(member.type)) return "lumvex::" + std::string(ClientName(Pointee(member.type)));
    return std::string(member.type);
}

std::string ClientParameter(std::string_view type, std::string_view name) {
    const std::string suffix = " " + std::string(name);
    if (type == "BSTR") return "const TextArgument&" + suffix;
    if (type == "VARIANT") return "const ArrayArgument&" + suffix;
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
    std::string given(name);
    if (type == "BSTR" || type == "VARIANT") return given + ".get()";
    if (type == "IUnknown*") return given + ".Pointer()";
    if (IsPointer(type)) return given + ".Get()";
    return given;
}

// One member of a client class: how it is declared and what it calls.
struct Projected {
    std::string name, result, slot;
    bool returns;
    Texts declared, parameters, names, arguments;  // declared: with defaults
};

Projected Project(const Slot& slot) {
    const Member& member = slot.member;
    Projected made;
    made.name = member.name == "_NewEnum" ? "Enumerate" : std::string(member.name);
    made.returns = HasResult(slot);
    made.result = made.returns ? ClientResult(member) : "void";
    made.slot = SlotName(slot);
    const auto add = [&](std::string_view type, std::string_view name, std::string_view defaultValue) {
        made.parameters.push_back(ClientParameter(type, name));
        made.declared.push_back(made.parameters.back() +
                                (defaultValue.empty() ? "" : " = " + std::string(defaultValue)));
        made.names.emplace_back(name);
        made.arguments.push_back(ClientArgument(type, name));
    };
    for (const Parameter& each : member.parameters) add(each.type, each.name, DefaultOf(each));
    if (slot.use == Slot::Puts) add(member.type, "newVal", "");
    return made;
}

void PrintDeclaration(std::ostream& out, const Slot& slot) {
    const Projected made = Project(slot);
    out << "    " << made.result << " " << made.name << "(" << Join(made.declared) << ")"
        << (made.returns ? " const" : "") << ";\n";
}

void PrintDefinition(std::ostream& out, std::string_view owner, const Slot& slot) {
    const Projected made = Project(slot);
    out << "inline " << made.result << " " << owner << "::" << made.name << "(" << Join(made.parameters) << ")"
        << (made.returns ? " const" : "") << " {\n";
    if (made.returns && made.name == "Item" && made.names.size() == 1) {
        out << "    return ReceivedItem<" << made.result << ">(*this, " << made.names[0] << ");\n}\n";
        return;
    }
    if (made.returns) {
        out << "    return Received<" << made.result << ", " << slot.member.type << ">([&](auto* pVal) { return Get()->"
            << made.slot << "(";
        for (const std::string& each : made.arguments) out << each << ", ";
        out << "pVal); }, ";
    } else {
        out << "    CheckCall(Get()->" << made.slot << "(" << Join(made.arguments) << "), ";
    }
    out << '"' << made.name << '"';
    for (const std::string& each : made.names) out << ", " << each;
    out << ");\n}\n";
}

// The client's class of a collection's members; empty for what is no collection.
std::string ItemTypeOf(const Interface& interface) {
    for (const Member& member : interface.members)
        if (member.name == "Item") return std::string(ClientName(Pointee(member.type)));
    return {};
}

void PrintMakers(std::ostream& out, const std::string& name) {
    out << "    static " << name << " Create();  // a new, empty document\n"
        << "    // The document in an existing file, which stays open until CloseFile or as long as the root has "
           "handles.\n"
        << "    static " << name << " Open(const TextArgument& path, LXAccessMode mode = LX_SHARE_READ);\n";
}

// "Collection", or for what holds members "TypedCollection<Data, Collection, lumvex::Datum>".
std::string BaseOf(const Interface& interface) {
    std::string base(ClientName(interface.base));
    const std::string item = ItemTypeOf(interface);
    if (item.empty()) return base;
    return "TypedCollection<" + std::string(ClientName(interface.name)) + ", " + base + ", lumvex::" + item + ">";
}

}  // namespace

void PrintProjection(std::ostream& out) {
    out << R"(// Lumvex for C++ clients: each published interface as a class that reads like ordinary C++. Objects are counted
// handles, texts are answered as UTF-16 and taken as UTF-8 or UTF-16, collections are ranges of their members, a failing
// call throws lumvex::Error with the status and its text, and what a method does not find is an empty handle. Made from
// the interface tables at build time.
#pragma once

#include "lumvex/array.hpp"
#include "lumvex/client.hpp"
#include "lumvex/interfaces.hpp"

namespace lumvex {

)";
    for (const Interface& each : Interfaces()) out << "class " << ClientName(each.name) << ";\n";
    for (const Interface& each : Interfaces()) {
        const std::string name(ClientName(each.name));
        const std::string base = BaseOf(each);
        out << "\n// " << each.meaning << "\nclass " << name << " : public " << base << " {\npublic:\n"
            << "    using Interface = ::" << each.name << ";\n"
            << "    " << name << "() = default;\n"
            << "    explicit " << name << "(Ref<::" << each.name << "> pointer) : " << base.substr(0, base.find('<'))
            << "(std::move(pointer)) {}\n"
            << "    ::" << each.name << "* Get() const { return static_cast<::" << each.name << "*>(Pointer()); }\n";
        if (CoclassOf(each.name)) PrintMakers(out, name);
        const Member* last = nullptr;  // what is got and put is explained once
        for (const Slot& slot : SlotsOf(each)) {
            if (const Member* member = &slot.member; member != last)
                PrintComment(out, "    ", MeaningWithUnit(*member));
            last = &slot.member;
            PrintDeclaration(out, slot);
        }
        out << "};\n";
    }
    out << "\n";
    for (const Interface& each : Interfaces()) {
        if (const Coclass* coclass = CoclassOf(each.name)) {
            const std::string name(ClientName(each.name));
            out << "inline " << name << " " << name << "::Create() {\n    return " << name
                << "(CreateInstance<::" << each.name << ">(kClassOf" << coclass->name << "));\n}\n"
                << "inline " << name << " " << name << "::Open(const TextArgument& path, LXAccessMode mode) {\n"
                << "    " << name << " document = Create();\n    document.AccessMode(mode);\n"
                << "    document.OpenFile(path);\n    return document;\n}\n";
        }
        for (const Slot& slot : SlotsOf(each)) PrintDefinition(out, ClientName(each.name), slot);
    }
    out << "\n}  // namespace lumvex\n";
}

}  // namespace lumvex::tables
