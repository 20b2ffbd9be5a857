#include "interfaces/generate/printing.hpp"

namespace lumvex::tables {

namespace {

// "1..6"; "1.." where the object decides.
std::string Shown(const Range& range) {
    return std::to_string(range.lowest) + ".." + (range.highest ? std::to_string(*range.highest) : "");
}

std::string ParametersWithRanges(const std::vector<Parameter>& parameters) {
    Texts texts;
    for (const Parameter& each : parameters)
        texts.push_back(Declared(each) + (each.range ? " " + Shown(*each.range) : "") +
                        (each.defaultValue.empty() ? "" : " = " + std::string(each.defaultValue)));
    return Join(texts);
}

const char* UseOf(const Member& member) {
    if (member.kind != Kind::Property) return "method";
    return !(member.access & Put) ? "get" : member.access & PutFirst ? "put, get" : "get, put";
}

// The row of a property stands for the slots of both its get and its put.
void PrintRow(std::ostream& out, const Member& member) {
    out << "| " << member.id << " | " << UseOf(member) << " | `" << member.name
        << (member.parameters.empty() ? "" : "(" + ParametersWithRanges(member.parameters) + ")") << "` | "
        << member.type << " | " << member.unit << " | " << (member.range ? Shown(*member.range) : "") << " | "
        << member.meaning << " |\n";
}

}  // namespace

void PrintManual(std::ostream& out) {
    out << "# Lumvex interfaces\n\nEvery published interface, member by member in slot order. A row of a property that "
           "is got "
           "and put stands for two\nslots. Indices outside their range are refused; of values the range says which "
           "mean "
           "something, any other is kept unless\nthe meaning says that it is refused.\n";
    for (const Interface& each : Interfaces()) {
        out << "\n## " << each.name << "\n\n"
            << each.meaning << " Base `" << each.base << "`, ID {" << each.iid << "}"
            << (ClassOf(each.name) ? ", class `" + std::string(ClassOf(each.name)->name) + "`" : "") << ".\n\n"
            << "| DISPID | use | member | type | unit | range | meaning |\n| --- | --- | --- | --- | --- | --- | --- "
               "|\n";
        for (const Member& member : each.members) PrintRow(out, member);
    }
    const Events& events = OutgoingEvents();
    out << "\n## " << events.name << "\n\n"
        << events.help << ", the outgoing interface of both roots, ID {" << events.iid
        << "}\n\n| DISPID | member | meaning |\n| --- | --- | --- |\n";
    for (const Member& member : events.members)
        out << "| " << member.id << " | `" << member.name << "(" << WithDefaults(member.parameters) << ")` | "
            << member.help.get << " |\n";
    out << "\n# Enumerations\n\nPeople write the word where a program takes one.\n";
    for (const Enumeration& each : Enumerations()) {
        out << "\n## " << each.name << "\n\n"
            << each.help << (each.kind == Bits ? "; its values are bits" : "")
            << ".\n\n| name | value | word | meaning |\n| --- | --- | --- | --- |\n";
        for (const Constant& constant : each.constants)
            out << "| `" << constant.name << "` | " << constant.value << " | " << constant.word << " | "
                << constant.meaning << " |\n";
    }
}

}  // namespace lumvex::tables
