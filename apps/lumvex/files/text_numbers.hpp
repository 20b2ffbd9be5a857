// Numbers and rows of numbers in text, the same in every locale.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace lumvex::app {

inline constexpr std::size_t kMostColumns = 256;

// How a file writes its numbers: the decimal mark, and whether the other mark groups thousands ("20,000.5").
enum class NumberStyle { Point, Comma, PointGrouped, CommaGrouped };

constexpr char DecimalMarkOf(NumberStyle style) {
    return style == NumberStyle::Point || style == NumberStyle::PointGrouped ? '.' : ',';
}

// How a file writes its rows. Where a comma separates them, a number with a comma in it has to be in quotation marks.
struct RowSyntax {
    char separator;  // ';' or ','; ' ' stands for any run of blanks and tabs
    NumberStyle style;
};

enum class NumberState {
    Good,
    NotANumber,
    NotFinite,  // NaN or infinity in one of their usual spellings
    OutOfRange  // larger than a 32-bit float
};

// The nearest number. The whole field must be the number; a decimal comma needs a digit on both sides, groups have
// three digits and the first of them does not begin with a zero. Exponents may be written as Fortran does, "1.0D+01".
NumberState ParseNumber(std::string_view field, NumberStyle style, float& value);
NumberState ParseNumber(std::string_view field, NumberStyle style, double& value);

// Whether the field's first digits are groups of three between these marks: "1,000", "-20,000.5".
bool IsGrouped(std::string_view field, char mark);

// Reads one line as a row. Separators at its end are ignored, because spreadsheets fill short rows with them. Values
// that are not finite become NaN.
struct Row {
    std::vector<float> values;
    std::vector<std::string_view> fields;   // without quotation marks
    NumberState state = NumberState::Good;  // NotFinite if some value is not, and all others are numbers
    std::string_view refused;  // the first field that is not Good; the row is read up to it unless NotFinite
};
void ReadRow(std::string_view line, RowSyntax syntax, Row& row);

// A line of a table without the comment behind its numbers ("20 70.5 # note") and with every minus sign of its own
// (U+2212) as a hyphen. The storage is used when that changes the line.
[[nodiscard]] std::string_view PlainLine(std::string_view line, std::string& storage);

// Whether a line begins with a quotation mark and all of its fields could be numbers, as spreadsheets write them.
[[nodiscard]] bool IsQuotedNumbers(std::string_view line);

[[nodiscard]] bool IsNotFinite(std::string_view field);
[[nodiscard]] std::string_view Trimmed(std::string_view text);  // without blanks and tabs at both ends
[[nodiscard]] std::string Lowered(std::string_view text);       // ASCII letters in lower case

constexpr bool IsBlank(char c) { return c == ' ' || c == '\t'; }
constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace lumvex::app
