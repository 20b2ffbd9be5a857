#include "interfaces/generate/printing.hpp"

namespace lumvex::tables {

namespace {

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

std::string DefinedMember(const Slot& slot) {
    const Member& member = slot.member;
    Texts parameters;
    for (const Parameter& each : member.parameters) parameters.push_back(DefinedParameter(each));
    if (slot.use == Slot::Puts) parameters.push_back("[in] " + DefinedType(member.type) + " newVal");
    if (HasResult(slot)) parameters.push_back("[out, retval] " + DefinedType(member.type) + "* pVal");
    const char* use = slot.use == Slot::Gets ? "propget, " : slot.use == Slot::Puts ? "propput, " : "";
    return "        [" + std::string(use) + "id(" + std::to_string(member.id) + "), helpstring(\"" +
           std::string(slot.help) + "\")] HRESULT " + std::string(member.name) + "(" + Join(parameters) + ");\n";
}

}  // namespace

void PrintDefinition(std::ostream& out) {
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
        for (const Slot& slot : SlotsOf(each)) out << DefinedMember(slot);
        out << "    };\n";
    }
    const Events& events = OutgoingEvents();
    out << "\n    [uuid(" << events.iid << "), helpstring(\"" << events.help << "\")]\n    dispinterface "
        << events.name << " {\n    properties:\n    methods:\n";
    for (const Member& member : events.members) out << DefinedMember({member, Slot::Calls, member.help.get});
    out << "    };\n";
    for (const Coclass& each : Coclasses())
        out << "\n    [uuid(" << each.clsid << "), helpstring(\"" << each.description << "\")]\n    coclass "
            << each.name << " {\n        [default] interface " << each.defaultInterface
            << ";\n        [default, source] dispinterface " << events.name << ";\n    };\n";
    out << "}\n";
}

}  // namespace lumvex::tables
