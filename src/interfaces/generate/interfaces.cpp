#include "interfaces/generate/printing.hpp"

namespace lumvex::tables {

void PrintInterfaces(std::ostream& out) {
    out << "// The published interfaces as they cross the boundary: function tables in slot order, enumerations, "
           "identifiers.\n"
           "// Every method answers a status; a failing one leaves its text as the thread's error information. Texts, "
           "arrays and\n"
           "// interface pointers that a method gives belong to the caller. Made from the interface tables at build "
           "time.\n"
           "#pragma once\n\n#include \"lumvex/automation.hpp\"\n\n";
    for (const Enumeration& each : Enumerations()) {
        out << "// " << each.help << ".\nenum " << each.name << " : int {\n";
        for (const Constant& constant : each.constants)
            out << "    " << constant.name << " = " << constant.value << ",\n";
        out << "};\n\n";
    }
    for (const Interface& each : Interfaces()) out << "struct " << each.name << ";\n";
    for (const Interface& each : Interfaces()) {
        out << "\n// " << each.help << "\nstruct " << each.name << " : " << each.base << " {\n";
        for (const Slot& slot : SlotsOf(each)) {
            if (Overloads(each, slot.member)) out << "    using " << each.base << "::" << slot.member.name << ";\n";
            out << "    virtual HRESULT STDMETHODCALLTYPE " << SlotName(slot) << "(" << Join(SlotParameters(slot))
                << ") = 0;\n";
        }
        out << "};\n";
    }
    const Events& events = OutgoingEvents();
    out << "\n// " << events.help
        << ": how both roots tell of changes. A sink is called through IDispatch by these DISPIDs:\n";
    for (const Member& member : events.members)
        out << "//     " << member.id << " " << member.name << "(" << WithDefaults(member.parameters) << ")\n";
    out << "struct " << events.name << " : IDispatch {};\n";
    out << "\nnamespace lumvex {\n\n";
    out << "template <>\nstruct IidOf<::" << events.name
        << "> {\n    static constexpr GUID value = " << GuidInitialiser(events.iid) << ";\n};\n";
    for (const Interface& each : Interfaces())
        out << "template <>\nstruct IidOf<::" << each.name
            << "> {\n    static constexpr GUID value = " << GuidInitialiser(each.iid) << ";\n};\n";
    out << "\n";
    for (const Coclass& each : Coclasses())
        out << "// " << each.description << "\ninline constexpr GUID kClassOf" << each.name << " = "
            << GuidInitialiser(each.clsid) << ";\n";
    out << "\n}  // namespace lumvex\n";
}

}  // namespace lumvex::tables
