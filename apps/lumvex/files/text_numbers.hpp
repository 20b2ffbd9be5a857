// Numbers and rows of numbers in text, the same in every locale.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace lumvex::app {

inline constexpr std::size_t kFewestColumns = 2;
inline constexpr std::size_t kMostColumns = 3;

// How a file writes its rows.
struct RowSyntax {
    char separator;    // ';' or ','; ' ' stands for any run of blanks and tabs
    char decimalMark;  // '.' or ','
};

enum class NumberState {
    Good,
    NotANumber,
    NotFinite,  // NaN or infinity in one of their usual spellings
    OutOfRange  // larger than a 32-bit float
};

// The nearest 32-bit float. The whole field must be the number; a decimal comma needs a digit on both sides.
NumberState ParseNumber(std::string_view field, char decimalMark, float& value);

// Reads one line as a row. Separators at its end are ignored, because spreadsheets fill short rows with them.
struct Row {
    std::array<float, kMostColumns> values{};
    std::size_t columns = 0;  // fields in the line, also beyond the most that a row can keep
    NumberState state = NumberState::Good;
    std::string_view refused;  // the first field that is not Good
};
[[nodiscard]] Row ReadRow(std::string_view line, RowSyntax syntax);

[[nodiscard]] bool IsNotFinite(std::string_view field);
[[nodiscard]] std::string_view Trimmed(std::string_view text);  // without blanks and tabs at both ends

constexpr bool IsBlank(char c) { return c == ' ' || c == '\t'; }
constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace lumvex::app
