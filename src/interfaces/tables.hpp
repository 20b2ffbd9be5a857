// The published interfaces as data: the rows of the .def files for programs that print something made from them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lumvex::tables {

struct Constant {
    std::string_view name;
    long value;
};

struct Enumeration {
    std::string_view name, help;
    std::vector<Constant> constants;
};

struct Parameter {
    std::string_view type, name, defaultValue;  // no default: empty
};

enum class Kind { Get, Put, Method, Action, Test };

struct Member {
    Kind kind;
    long id;
    std::string_view name, type;
    std::vector<Parameter> parameters;
    std::string_view help;
};

struct Interface {
    std::string_view name, base, iid, help;
    std::vector<Member> members;
};

// The outgoing interface: its members are actions.
struct Events {
    std::string_view name, iid, help;
    std::vector<Member> members;
};

struct Coclass {
    std::string_view name, defaultInterface, clsid, progId, description;
};

// The type library that describes all of them.
struct Library {
    std::string_view name, id, help;
    int majorVersion, minorVersion;
};

const Library& TypeLibrary();
const std::vector<Enumeration>& Enumerations();
const std::vector<Interface>& Interfaces();  // base before derived, members in slot order
const std::vector<Coclass>& Coclasses();
const Events& OutgoingEvents();

}  // namespace lumvex::tables
