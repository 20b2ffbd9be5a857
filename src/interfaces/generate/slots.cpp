// Every slot of every interface by its C++ member: tests call them one by one.
#include "interfaces/generate/printing.hpp"

namespace lumvex::tables {

void PrintSlots(std::ostream& out) {
    out << "// Every slot of an interface and of its bases, by its C++ member and by its place in tables::SlotsOf: "
           "visit(object,\n"
           "// member, interface, place, has it a result). Printed from the interface tables.\n#pragma "
           "once\n\n#include <string_view>\n#include <type_traits>\n\n#include \"lumvex/interfaces.hpp\"\n\n"
           "namespace lumvex::tests {\n\ntemplate <class Visitor>\nvoid VisitSlots(::IDispatch*, Visitor&) {}\n";
    for (const Interface& each : Interfaces()) {
        out << "\ntemplate <class Visitor>\nvoid VisitSlots(::" << each.name
            << "* object, Visitor& visit) {\n    VisitSlots(static_cast<::" << each.base << "*>(object), visit);\n";
        std::size_t place = 0;
        for (const Slot& slot : SlotsOf(each))
            out << "    visit(object, " << MemberPointer(each, slot) << ", \"" << each.name << "\", " << place++
                << ", std::" << (HasResult(slot) ? "true" : "false") << "_type());\n";
        out << "}\n";
    }
    out << "\n// The same for an object that is known to offer the interface of this name.\ntemplate <class Visitor>\n"
           "void VisitSlots(std::string_view interfaceName, ::IDispatch* object, Visitor& visit) {\n";
    for (const Interface& each : Interfaces())
        out << "    if (interfaceName == \"" << each.name << "\") VisitSlots(static_cast<::" << each.name
            << "*>(object), visit);\n";
    out << "}\n\n}  // namespace lumvex::tests\n";
}

}  // namespace lumvex::tables
