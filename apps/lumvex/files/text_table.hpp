// Tables of names and numbers as text, one row in each line.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace lumvex::app {

struct TableRow {
    std::size_t line = 0;             // counted from 1
    std::vector<std::string> fields;  // without the blanks around them
    std::string problem;              // what is wrong with the line's form; empty: nothing
};

// The rows of a file, but for empty lines. Fields stand between commas or semicolons, whichever the first line has more
// of; in quotation marks they may hold either, and "" for one mark. Throws FileError when the file cannot be read or is
// empty.
std::vector<TableRow> ReadTable(const std::filesystem::path& path);

// Takes empty fields off the row's end as long as it has more than `columns`: spreadsheets fill short rows with them.
void DropEmptyEnd(TableRow& row, std::size_t columns);

// Drops the empty ends of all rows, and the first row when it holds these names, regardless of case.
void DropHeader(std::vector<TableRow>& rows, const std::vector<std::string>& names);

// A number that people write into a field: it may have a decimal comma.
bool ReadNumber(std::string_view field, float& value);

// A table of numbers alone, with as many columns as there are names; a first line of the names is a header. Row after
// row. Throws FileError with the line that is anything else.
std::vector<float> ReadNumbers(const std::filesystem::path& path, const std::vector<std::string>& names);

}  // namespace lumvex::app
