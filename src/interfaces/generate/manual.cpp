#include "interfaces/generate/printing.hpp"

namespace lumvex::tables {

void PrintManual(std::ostream& out) {
    out << "# Lumvex interfaces\n\nEvery published interface, member by member in slot order.\n";
    for (const Interface& each : Interfaces()) {
        out << "\n## " << each.name << "\n\n"
            << each.help << ", base `" << each.base << "`, ID {" << each.iid << "}\n\n"
            << "| DISPID | kind | member | type | meaning |\n| --- | --- | --- | --- | --- |\n";
        for (const Slot& slot : SlotsOf(each)) {
            static constexpr const char* kUses[] = {"get", "put", "method"};
            const Member& member = slot.member;
            out << "| " << member.id << " | " << kUses[slot.use] << " | `" << member.name
                << (member.parameters.empty() ? "" : "(" + WithDefaults(member.parameters) + ")") << "` | "
                << member.type << " | " << slot.help << " |\n";
        }
    }
    const Events& events = OutgoingEvents();
    out << "\n## " << events.name << "\n\n" << events.help << ", the outgoing interface of both roots, ID {" << events.iid
        << "}\n\n| DISPID | member | meaning |\n| --- | --- | --- |\n";
    for (const Member& member : events.members)
        out << "| " << member.id << " | `" << member.name << "(" << WithDefaults(member.parameters) << ")` | " << member.help.get
            << " |\n";
    out << "\n# Enumerations\n";
    for (const Enumeration& each : Enumerations()) {
        out << "\n## " << each.name << "\n\n" << each.help << "\n\n| name | value |\n| --- | --- |\n";
        for (const Constant& constant : each.constants) out << "| `" << constant.name << "` | " << constant.value << " |\n";
    }
}

}  // namespace lumvex::tables
