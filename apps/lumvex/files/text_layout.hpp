// Finds out how a text file writes its table of numbers, from all of its lines.
#pragma once

#include <cstddef>
#include <filesystem>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "files/text_header.hpp"
#include "files/text_lines.hpp"
#include "files/text_numbers.hpp"

namespace lumvex::app {

// The lines of a text file that are not blank, told apart: words, which are comments and headers, and numbers.
class TableLines {
public:
    TableLines(const std::filesystem::path& path, std::istream& in) : lines_(path, in) {}

    void Rewind();
    bool Next();         // false behind the last line
    bool NextNumbers();  // leaves out words

    bool IsNumbers() const { return isNumbers_; }
    bool InHeader() const { return inHeader_; }      // no line of numbers has come yet
    std::string_view Text() const { return text_; }  // of words as they are, of numbers without their comment
    std::size_t Number() const { return lines_.Number(); }

private:
    TextLines lines_;
    std::string storage_;
    std::string_view text_;
    bool isNumbers_ = false, inHeader_ = true;
};

struct Layout {
    RowSyntax syntax{' ', NumberStyle::Point};
    std::size_t columns = 0;
};

// What to look for in the table.
struct LayoutWish {
    std::size_t frequency = 0, level = 1;  // columns, from 0
    bool isResponse = true;           // frequencies rise and levels are below 1000 dB, which tells 20.000 from 20000
    std::optional<char> decimalMark;  // none: found out
};

struct TableForm {
    Layout layout;
    TextHeader header;
    std::size_t rows = 0, firstLine = 0;
    std::string firstText;  // of the first line of numbers
};

// Reads the whole file. Throws FileError with the line that does not fit the others, or with the number that could be
// read in two ways where no line of the file tells which is meant.
[[nodiscard]] TableForm FindLayout(const std::filesystem::path& path, TableLines& lines, const LayoutWish& wish);

}  // namespace lumvex::app
