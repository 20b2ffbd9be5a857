// Tables of names and numbers as text, one row in each line.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lumvex::app {

struct TableRow {
    std::size_t line = 0;             // counted from 1
    std::vector<std::string> fields;  // without the blanks around them
    std::string problem;              // what is wrong with the line's form; empty: nothing
};

// The rows of a file without its empty lines. Tabs separate the fields where the first line has some, else commas or
// semicolons, whichever it has more of. A field in quotation marks may contain either, and "" means one mark there.
// Throws FileError when the file cannot be read or is empty.
std::vector<TableRow> ReadTable(const std::filesystem::path& path);

// Removes empty fields from the row's end while it has more than `columns`: spreadsheets fill short rows with them.
void DropEmptyEnd(TableRow& row, std::size_t columns);

// Drops the empty ends of all rows, and the first row when it holds these names, in any order and regardless of case;
// the fields of the others are then put into the order of the names. Throws FileError for a first row that holds two of
// the names or more, and not all of them alone.
void DropHeader(const std::filesystem::path& path, std::vector<TableRow>& rows, const std::vector<std::string>& names);

// Reads a number as people write it into a field, perhaps with a decimal comma. Returns false for anything else.
bool ReadNumber(std::string_view field, float& value);

// Reads a table of numbers that has as many columns as there are names; a first line with these names is a header.
// Returns the numbers row after row. `problemOf` says what is wrong with a row, given the one before it (empty for the
// first); empty: nothing. Throws FileError with the line that is not such a row.
using RowProblem = std::function<std::string(std::span<const float> row, std::span<const float> before)>;
std::vector<float> ReadNumbers(const std::filesystem::path& path, const std::vector<std::string>& names,
                               const RowProblem& problemOf = {});

}  // namespace lumvex::app
