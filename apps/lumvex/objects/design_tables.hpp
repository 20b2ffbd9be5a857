// The tables of numbers that designs are made of: limits, crossovers, equalisers. A document keeps each entry as a
// column of an array.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "lumvex/lumvex.hpp"

namespace lumvex::app {

struct DesignTable {
    std::string_view property;        // that keeps it
    std::vector<std::string> values;  // of an entry, the frequency first
};

// The table that a property of this name keeps; null for other properties.
const DesignTable* FindDesignTable(std::string_view property);

// What an entry should be and is not, given the one before it (empty for the first): "a frequency above 0". Empty: it
// is as it should be.
std::string ProblemOfEntry(const DesignTable& table, std::span<const float> entry, std::span<const float> before);

// The same of all entries in an array of 32-bit floats, and of its shape: "in column 2 a frequency above 0".
std::string ProblemOfTable(const DesignTable& table, const Array& array);

}  // namespace lumvex::app
