// What the printers share. Each prints one text from the tables; generate.cpp decides which file it becomes.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "interfaces/tables.hpp"

namespace lumvex::tables {

// ---- the printers ----

void PrintInterfaces(std::ostream& out);   // interfaces.hpp: what crosses the boundary
void PrintProjection(std::ostream& out);   // lumvex.hpp: the classes of the C++ client
void PrintManual(std::ostream& out);       // the reference manual
void PrintDefinition(std::ostream& out);   // the text that becomes the type library

// ---- names and types ----

bool IsPointer(std::string_view type);
std::string_view Pointee(std::string_view type);
const Coclass* CoclassOf(std::string_view interfaceName);  // null for an interface that no creatable class has
std::string SlotName(const Slot& slot);                    // "get_Name", "put_Name", "Copy"
bool HasResult(const Slot& slot);
bool Overloads(const Interface& owner, const Member& member);  // has a base a method of this name?

// ---- texts ----

using Texts = std::vector<std::string>;

std::string Join(const Texts& parts, std::string_view between = ", ");
std::string Declared(const Parameter& parameter);                   // "SHORT nIndex"
std::string WithDefaults(const std::vector<Parameter>& parameters);  // "BSTR ID, LONG bSearchDescendants = -1"
// What a slot takes: its parameters, then "LONG* pVal" or "LONG newVal".
Texts SlotParameters(const Slot& slot);
std::string GuidInitialiser(std::string_view text);

}  // namespace lumvex::tables
