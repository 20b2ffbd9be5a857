// A table of loudspeakers as text: manufacturer, model and configuration in each line.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace lumvex::app {

struct CatalogueRow {
    std::size_t line = 0;             // counted from 1
    std::vector<std::string> fields;  // without the blanks around them; three in a good row
    std::string problem;              // what is wrong with the line's form; empty: nothing
};

// The rows of a file, but for empty lines and a header line. Fields stand between commas or semicolons, whichever the
// first line has more of; in quotation marks they may hold either, and "" for one mark. Throws FileError when the file
// cannot be read or is empty.
std::vector<CatalogueRow> ReadCatalogue(const std::filesystem::path& path);

}  // namespace lumvex::app
