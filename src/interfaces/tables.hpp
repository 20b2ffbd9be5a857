// The published interfaces as data: the rows of the .def files, for programs that print something made from them.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace lumvex::tables {

// "1..6", or "1.." where the highest depends on the object.
struct Range {
    long lowest;
    std::optional<long> highest;
};

// What the values of an enumeration are: one is chosen, bits are combined, or they are numbers that a program uses.
enum EnumerationKind { Choice, Bits, Numbers };

struct Constant {
    std::string_view name;
    long value;
    std::string_view word, meaning;  // no word: nobody is to choose it
};

struct Enumeration {
    std::string_view name;
    EnumerationKind kind;
    std::string_view help;
    std::vector<Constant> constants;
};

struct Parameter {
    std::string_view type, name, defaultValue;  // no default: empty
    std::optional<Range> range;
};

// What a row says of a property beside its type.
enum Access : unsigned {
    Get = 1,
    Put = 2,
    OwnersFirst = 4,    // the get resolves the owners (4009) before it looks at its result pointer
    NullIsInvalid = 8,  // the get answers E_INVALIDARG, not E_POINTER, where there is no result pointer
    PutFirst = 16       // the put has the slot before the get
};
constexpr Access operator|(Access left, Access right) { return static_cast<Access>(unsigned{left} | unsigned{right}); }

// The published help texts of a property: of one slot or of both, which mostly have the same.
struct Help {
    constexpr Help(const char* ofBoth) : get(ofBoth), put(ofBoth) {}
    constexpr Help(const char* ofGet, const char* ofPut) : get(ofGet), put(ofPut) {}
    std::string_view get, put;
};
constexpr Help GetAndPut(const char* ofGet, const char* ofPut) { return {ofGet, ofPut}; }

enum class Kind {
    Property,
    Method,  // has a result
    Action,  // has none
    Test     // a method whose result pointer may be null
};

// One row of a table.
struct Member {
    Kind kind;
    long id;
    std::string_view idName;      // the published constant; empty for a number that has no name
    std::string_view name, type;  // of an action: void
    std::vector<Parameter> parameters;
    unsigned access;  // of Access; 0 for what is no property
    Help help;        // of what is no property: get
    std::string_view unit;
    std::optional<Range> range;  // of the values that mean something
    std::string_view meaning;
};

struct Interface {
    std::string_view name, base, iid, help, meaning;
    std::vector<Member> members;
};

// One place of an interface's function table.
struct Slot {
    enum Use { Gets, Puts, Calls };
    const Member& member;
    Use use;
    std::string_view help;
};

// The outgoing interface: its members are actions.
struct Events {
    std::string_view name, iid, help;
    std::vector<Member> members;
};

struct Coclass {
    std::string_view name, defaultInterface, clsid, progId, description;
};

// A class of the model. The header is the one that declares it.
struct Class {
    enum Kind { Root, Collection, Item };
    Kind kind;
    std::string_view name, interfaceName, id, folder, member, title;  // of a collection: the class of its members
};

// A property whose value the object's record keeps, and the first version whose records have it.
struct Kept {
    std::string_view interfaceName, property;
    unsigned since;
};

// The class behind a shared base interface.
struct BaseClass {
    std::string_view name, interfaceName, header;
};

// The type library that describes all of them.
struct Library {
    std::string_view name, id, help;
    int majorVersion, minorVersion;
};

const Library& TypeLibrary();
const std::vector<Enumeration>& Enumerations();
const std::vector<Interface>& Interfaces();  // base before derived
const std::vector<Coclass>& Coclasses();
const Events& OutgoingEvents();
const std::vector<Class>& Classes();
const std::vector<Kept>& KeptProperties();
const std::vector<BaseClass>& BaseClasses();

// Null where no table declares the name.
const Interface* FindInterface(std::string_view name);
const Enumeration* FindEnumeration(std::string_view name);
const Coclass* CoclassOf(std::string_view interfaceName);
const Class* ClassOf(std::string_view interfaceName);

// The slots that an interface adds to its base, in order.
std::vector<Slot> SlotsOf(const Interface& owner);

}  // namespace lumvex::tables
