#include "interfaces/tables.hpp"

#include "interfaces/for_each.hpp"

namespace lumvex::tables {

namespace {

// An absent third argument leaves the default's text empty.
#define LX_PARAMETER_TEXT(type, name, ...) \
    Parameter { #type, #name, #__VA_ARGS__ }

}  // namespace

const Library& TypeLibrary() {
    static const Library library
#define LX_LIBRARY(name, id, majorVersion, minorVersion, help) {#name, id, help, majorVersion, minorVersion};
#include "interfaces/tables/library.def"
    return library;
}

const std::vector<Enumeration>& Enumerations() {
    static const std::vector<Enumeration> all{
#define LX_ENUMERATION(name, help) {#name, help, {
#define LX_CONSTANT(name, value) {#name, value},
#define LX_ENUMERATION_END(name) }},
#include "interfaces/tables/enumerations.def"
    };
    return all;
}

const std::vector<Interface>& Interfaces() {
    static const std::vector<Interface> all{
#define LX_INTERFACE(name, base, iid, help) {#name, #base, iid, help, {
#define LX_GET(id, name, type, parameters, help) \
    {Kind::Get, id, #name, #type, {LX_EACH(LX_PARAMETER_TEXT, parameters)}, help},
#define LX_PUT(id, name, type, parameters, help) \
    {Kind::Put, id, #name, #type, {LX_EACH(LX_PARAMETER_TEXT, parameters)}, help},
#define LX_METHOD(id, name, type, parameters, help) \
    {Kind::Method, id, #name, #type, {LX_EACH(LX_PARAMETER_TEXT, parameters)}, help},
#define LX_ACTION(id, name, parameters, help) \
    {Kind::Action, id, #name, "void", {LX_EACH(LX_PARAMETER_TEXT, parameters)}, help},
#define LX_TEST(id, name, parameters, help) \
    {Kind::Test, id, #name, "LONG", {LX_EACH(LX_PARAMETER_TEXT, parameters)}, help},
#define LX_INTERFACE_END(name) }},
#include "interfaces/tables/interfaces.def"
    };
    return all;
}

const Events& OutgoingEvents() {
    static const Events events
#define LX_EVENTS(name, iid, help) {#name, iid, help, {
#define LX_EVENT(id, name, parameters, help) \
    {Kind::Action, id, #name, "void", {LX_EACH(LX_PARAMETER_TEXT, parameters)}, help},
#define LX_EVENTS_END(name) }};
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

}  // namespace lumvex::tables
