// Arrays as properties answer them: what can be said of one in a line, and its elements as JSON and back.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "lumvex/lumvex.hpp"

namespace lumvex::app {

using Json = nlohmann::ordered_json;

// Is the value an array? Of a variant property only the value tells.
bool IsArray(const VARIANT& value);

// Number of elements in each dimension: rows, columns.
std::vector<std::size_t> ShapeOf(const VARIANT& array);
std::string ShapeText(const std::vector<std::size_t>& shape);  // "8192 x 2"
const char* ElementName(VARTYPE type);                         // "float", "double", "byte", "text", "variant"

struct ArraySummary {
    std::vector<std::size_t> shape;
    std::string type;
    std::size_t count = 0;                    // elements
    std::size_t finite = 0;                   // elements that are finite numbers
    double lowest = 0, highest = 0;           // of these
    double peak = 0;                          // the greatest magnitude of these
    std::size_t peakRow = 0, peakColumn = 0;  // where it is first, counted from 1; 0: there is none
    std::vector<std::string> first;           // the first elements of the first column, as text
};
ArraySummary Summarised(const VARIANT& array);
std::string SummaryText(const ArraySummary& summary);
Json SummaryJson(const ArraySummary& summary);

// The elements as 64-bit floats, column after column; of texts none.
std::vector<double> NumbersIn(const VARIANT& array);

std::string FloatText(float value);    // the shortest text that reads as the same number
std::string DoubleText(double value);  // the same

// A number that reads back bit for bit. What JSON has no number for becomes text: "Infinity", "-Infinity", "NaN", or
// "NaN:7FC00001" with the bits of any other than the usual one.
Json NumberJson(float value);
float FloatFrom(const Json& value);  // throws std::invalid_argument

// All of an array, as {"rows", "columns", "type", "values": a list for each column}. ArrayFrom() takes that, a list of
// columns alone, or a list of numbers, which is one column; null is no array. A list of numbers of type "float" may
// also be packed, as the bytes of 32-bit floats. Throws std::invalid_argument.
Json ArrayJson(const VARIANT& array);
Json ArrayHeadJson(const VARIANT& array);  // the same without its values
Variant ArrayFrom(const Json& value);
Variant ArrayFromText(std::string_view json);  // the same; "none" and the empty text are no array

}  // namespace lumvex::app
