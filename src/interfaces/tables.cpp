// Reads the tables. Parameters, ranges and DISPIDs come as text and are taken apart here; a row that cannot be read
// stops the program that asks.
#include "interfaces/tables.hpp"

#include <charconv>
#include <stdexcept>
#include <string>

namespace lumvex::tables {

namespace {

[[noreturn]] void Refuse(std::string_view what, std::string_view text) {
    throw std::invalid_argument(std::string(what) + ": " + std::string(text));
}

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == text.npos ? std::string_view() : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

long Number(std::string_view text) {
    long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) Refuse("a number is expected", text);
    return value;
}

std::optional<Range> RangeIn(std::string_view text) {
    if (text.empty()) return std::nullopt;
    const std::size_t dots = text.find("..");
    if (dots == text.npos) Refuse("a range is expected", text);
    const std::string_view highest = text.substr(dots + 2);
    return Range{Number(text.substr(0, dots)), highest.empty() ? std::nullopt : std::optional(Number(highest))};
}

// "SHORT nIndex", "SHORT nIndex 1..6" or "IModel* pModel = 0".
Parameter ParameterIn(std::string_view text) {
    Parameter parameter{};
    if (const std::size_t sign = text.find('='); sign != text.npos) {
        parameter.defaultValue = Trimmed(text.substr(sign + 1));
        text = Trimmed(text.substr(0, sign));
    }
    if (const std::size_t dots = text.find(".."); dots != text.npos) {
        const std::size_t blank = text.rfind(' ', dots);
        parameter.range = RangeIn(text.substr(blank + 1));
        text = Trimmed(text.substr(0, blank));
    }
    const std::size_t blank = text.rfind(' ');
    if (blank == text.npos) Refuse("a parameter is expected", text);
    parameter.type = Trimmed(text.substr(0, blank));
    parameter.name = text.substr(blank + 1);
    return parameter;
}

// A list in parentheses, with commas between.
std::vector<Parameter> ParametersIn(std::string_view text) {
    if (text.size() < 2 || text.front() != '(' || text.back() != ')') Refuse("parameters are expected", text);
    text = text.substr(1, text.size() - 2);
    std::vector<Parameter> parameters;
    while (!Trimmed(text).empty()) {
        const std::size_t comma = text.find(',');
        parameters.push_back(ParameterIn(Trimmed(text.substr(0, comma))));
        text = comma == text.npos ? std::string_view() : text.substr(comma + 1);
    }
    return parameters;
}

Member Row(Kind kind, std::string_view id, std::string_view name, std::string_view type, std::string_view parameters,
           unsigned access, Help help, std::string_view unit, std::string_view range, std::string_view meaning) {
    Member member{kind, 0, {}, name, type, ParametersIn(parameters), access, help, unit, RangeIn(range), meaning};
    for (const Constant& constant : FindEnumeration("LXDispatch")->constants) {
        if (constant.name != id) continue;
        member.id = constant.value;
        member.idName = constant.name;
        return member;
    }
    member.id = Number(id);
    return member;
}

}  // namespace

const Library& TypeLibrary() {
    static const Library library
#define LX_LIBRARY(name, id, majorVersion, minorVersion, help) {#name, id, help, majorVersion, minorVersion};
#include "interfaces/tables/library.def"
        return library;
}

const std::vector<Enumeration>& Enumerations() {
    static const std::vector<Enumeration> all{
#define LX_ENUMERATION(name, kind, help) {#name, kind, help, {
#define LX_CONSTANT(name, value, word, meaning) {#name, value, word, meaning},
#define LX_NUMBER(name, value) {#name, value, "", ""},
#define LX_ENUMERATION_END(name) \
    }                            \
    }                            \
    ,
#include "interfaces/tables/enumerations.def"
    };
    return all;
}

const std::vector<Interface>& Interfaces() {
    static const std::vector<Interface> all{
#define LX_INTERFACE(name, base, iid, help, meaning) {#name, #base, iid, help, meaning, {
#define LX_PROPERTY(id, name, type, parameters, access, help, unit, range, meaning) \
    Row(Kind::Property, #id, #name, #type, #parameters, access, help, unit, range, meaning),
#define LX_METHOD(id, name, type, parameters, help, meaning) \
    Row(Kind::Method, #id, #name, #type, #parameters, 0, help, "", "", meaning),
#define LX_ACTION(id, name, parameters, help, meaning) \
    Row(Kind::Action, #id, #name, "void", #parameters, 0, help, "", "", meaning),
#define LX_TEST(id, name, parameters, help, meaning) \
    Row(Kind::Test, #id, #name, "LONG", #parameters, 0, help, "", "", meaning),
#define LX_INTERFACE_END(name) \
    }                          \
    }                          \
    ,
#include "interfaces/tables/interfaces.def"
    };
    return all;
}

const Events& OutgoingEvents() {
    static const Events events
#define LX_EVENTS(name, iid, help) {#name, iid, help, {
#define LX_EVENT(id, name, parameters, help) Row(Kind::Action, #id, #name, "void", #parameters, 0, help, "", "", help),
#define LX_EVENTS_END(name) \
    }                       \
    }                       \
    ;
#include "interfaces/tables/events.def"
        return events;
}

const std::vector<Coclass>& Coclasses() {
    static const std::vector<Coclass> all{
#define LX_COCLASS(name, interface, clsid, progId, description) {#name, #interface, clsid, progId, description},
#include "interfaces/tables/coclasses.def"
    };
    return all;
}

const std::vector<Class>& Classes() {
    static const std::vector<Class> all = [] {
        std::vector<Class> classes;
        std::string_view folder;
#define LX_FOLDER(path) folder = path;
#define LX_BASE(name, interface, header)
#define LX_ROOT_CLASS(name, interface) \
    classes.push_back({Class::Root, #name, #interface, CoclassOf(#interface)->clsid, folder, "", ""});
#define LX_COLLECTION_CLASS(name, interface, member, title, id) \
    classes.push_back({Class::Collection, #name, #interface, id, folder, #member, title});
#define LX_ITEM_CLASS(name, interface, id) classes.push_back({Class::Item, #name, #interface, id, folder, "", ""});
#include "interfaces/tables/classes.def"
        return classes;
    }();
    return all;
}

#undef LX_FOLDER
#undef LX_BASE
#undef LX_ROOT_CLASS
#undef LX_COLLECTION_CLASS
#undef LX_ITEM_CLASS

const std::vector<Kept>& KeptProperties() {
    static const std::vector<Kept> all{
#define LX_KEPT(interface, property, version) {#interface, #property, version},
#include "interfaces/tables/kept.def"
    };
    return all;
}

const std::vector<BaseClass>& BaseClasses() {
    static const std::vector<BaseClass> all{
#define LX_FOLDER(path)
#define LX_BASE(name, interface, header) {#name, #interface, header},
#define LX_ROOT_CLASS(name, interface)
#define LX_COLLECTION_CLASS(name, interface, member, title, id)
#define LX_ITEM_CLASS(name, interface, id)
#include "interfaces/tables/classes.def"
    };
    return all;
}

const Interface* FindInterface(std::string_view name) {
    for (const Interface& each : Interfaces())
        if (each.name == name) return &each;
    return nullptr;
}

const Enumeration* FindEnumeration(std::string_view name) {
    for (const Enumeration& each : Enumerations())
        if (each.name == name) return &each;
    return nullptr;
}

const Coclass* CoclassOf(std::string_view interfaceName) {
    for (const Coclass& each : Coclasses())
        if (each.defaultInterface == interfaceName) return &each;
    return nullptr;
}

const Class* ClassOf(std::string_view interfaceName) {
    for (const Class& each : Classes())
        if (each.interfaceName == interfaceName) return &each;
    return nullptr;
}

std::vector<Slot> SlotsOf(const Interface& owner) {
    std::vector<Slot> slots;
    for (const Member& member : owner.members) {
        if (member.kind != Kind::Property) {
            slots.push_back({member, Slot::Calls, member.help.get});
            continue;
        }
        if (member.access & PutFirst) slots.push_back({member, Slot::Puts, member.help.put});
        if (member.access & Get) slots.push_back({member, Slot::Gets, member.help.get});
        if ((member.access & Put) && !(member.access & PutFirst))
            slots.push_back({member, Slot::Puts, member.help.put});
    }
    return slots;
}

}  // namespace lumvex::tables
