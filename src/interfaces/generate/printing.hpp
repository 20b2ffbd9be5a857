// What the printers share. Each prints one text from the tables; generate.cpp decides which file it becomes.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "interfaces/tables.hpp"

namespace lumvex::tables {

// ---- the printers ----

void PrintInterfaces(std::ostream& out);  // interfaces.hpp: what crosses the boundary
void PrintProjection(std::ostream& out);  // lumvex.hpp: the classes of the C++ client
void PrintManual(std::ostream& out);      // the reference manual
void PrintDefinition(std::ostream& out);  // the text that becomes the type library

void PrintMembers(std::ostream& out);  // members.hpp: the description that programs read at run time
void PrintBodies(std::ostream& out, const Interface& interface);
void PrintSharedCalls(std::ostream& out, const BaseClass& plain);
void PrintDispatch(std::ostream& out, const Interface& interface);
void PrintClass(std::ostream& out, const Class& row);
void PrintClassList(std::ostream& out);
void PrintSlots(std::ostream& out);  // slots.hpp: every slot by its C++ member, for tests

void PrintPythonTable(std::ostream& out);  // classes.hpp: from which the Python module builds its classes
void PrintPythonStub(std::ostream& out);   // _classes.pyi: the same classes for type checkers

// ---- names and types ----

bool IsPointer(std::string_view type);
std::string_view Pointee(std::string_view type);
std::string SlotName(const Slot& slot);  // "get_Name", "put_Name", "Copy"
bool HasResult(const Slot& slot);
bool Overloads(const Interface& owner, const Member& member);     // has a base a method of this name?
bool IsOverloaded(const Interface& owner, const Member& member);  // has an interface on this one a method of this name?
// "&IDatum::get_Data"; of a name that a base has too with the type of the member that is meant.
std::string MemberPointer(const Interface& interface, const Slot& slot);

// ---- texts ----

using Texts = std::vector<std::string>;

std::string Join(const Texts& parts, std::string_view between = ", ");
std::string Declared(const Parameter& parameter);                    // "SHORT nIndex"
std::string WithDefaults(const std::vector<Parameter>& parameters);  // "BSTR ID, LONG bSearchDescendants = -1"
// What a slot takes: its parameters, then "LONG* pVal" or "LONG newVal".
Texts SlotParameters(const Slot& slot);
std::string GuidInitialiser(std::string_view text);
// What a member means, with its unit and its range: "Delay of the position (ms)."
std::string MeaningWithUnit(const Member& member);
void PrintComment(std::ostream& out, std::string_view indent, std::string_view text);  // in lines of 120 columns

}  // namespace lumvex::tables
