// Objects and their properties as JSON. Keys are the published names, enumerations their words, dates ISO 8601, numbers
// numbers, and references the addresses of what they lead to.
#pragma once

#include "lumvex/diagnostics.hpp"
#include "objects/arrays.hpp"
#include "objects/properties.hpp"

namespace lumvex::app {

enum class ArrayForm { Summary, Whole };

// A text; one that is not well-formed, and so has no UTF-8, as {"utf16": its units}.
Json TextJson(std::u16string_view text);

// The value of a property that has no index, or of one place.
Json ValueJson(const Property& property, const VARIANT& value, ArrayForm arrays, Paths& paths, const Node& root);

// All of a property: of an indexed one a list of its places, in lists of lists where it has two indexes.
Json PropertyJson(const Node& object, const MemberDescription& member, ArrayForm arrays, Paths& paths);

// {"address", "class"} and every property that the object shows; one that cannot be read as {"error": why}.
Json ObjectJson(const Node& object, ArrayForm arrays, Paths& paths);

// {"rows", "columns", "type"} of an array whose elements are not read.
Json ShapeJson(const ArrayShape& shape);

// One JSON value with indentation and the end of its line.
void PrintJson(std::ostream& out, const Json& value);

}  // namespace lumvex::app
