#include "files/text_numbers.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <system_error>

#include "read_real.hpp"

namespace lumvex::app {

namespace {

// Digits with at most a sign in front: keeps out the words that from_chars takes for numbers, such as "inf".
bool StartsNumber(std::string_view text) {
    if (!text.empty() && text.front() == '-') text.remove_prefix(1);
    if (!text.empty() && text.front() == '.') text.remove_prefix(1);
    return !text.empty() && IsDigit(text.front());
}

// For a number that from_chars finds too large or too small and does not say which: too small is a zero.
NumberState ParseExtreme(std::string_view text, float& value) {
    double wide = 0;
    if (inside::ReadReal(text.data(), text.data() + text.size(), wide).ec == std::errc{}) {
        value = static_cast<float>(wide);
        return std::isfinite(value) ? NumberState::Good : NumberState::OutOfRange;
    }
    const std::size_t exponent = text.find_first_of("eE");
    const std::string_view digits = text.substr(text.front() == '-' ? 1 : 0);
    const bool tiny = exponent == std::string_view::npos ? digits.front() == '0' || digits.front() == '.'
                                                         : text.substr(exponent + 1).starts_with('-');
    value = text.front() == '-' ? -0.0f : 0.0f;
    return tiny ? NumberState::Good : NumberState::OutOfRange;
}

NumberState ParsePointNumber(std::string_view text, float& value) {
    if (text.starts_with('+') && !text.substr(1).starts_with('-')) text.remove_prefix(1);
    if (!StartsNumber(text)) return IsNotFinite(text) ? NumberState::NotFinite : NumberState::NotANumber;
    const auto [end, error] = inside::ReadReal(text.data(), text.data() + text.size(), value);
    if (end != text.data() + text.size()) return IsNotFinite(text) ? NumberState::NotFinite : NumberState::NotANumber;
    return error == std::errc{} ? NumberState::Good : ParseExtreme(text, value);
}

// Takes the next field off the line. Fields between ';' or ',' may be empty; blanks and tabs count as one separator.
std::string_view NextField(std::string_view& rest, char separator) {
    std::size_t end = 0;
    if (separator == ' ') {
        while (end < rest.size() && !IsBlank(rest[end])) ++end;
    } else {
        end = std::min(rest.find(separator), rest.size());
    }
    const std::string_view field = Trimmed(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (separator == ' ') rest = Trimmed(rest);
    return field;
}

std::string_view WithoutEndSeparators(std::string_view line, char separator) {
    line = Trimmed(line);
    while (line.ends_with(separator)) line = Trimmed(line.substr(0, line.size() - 1));
    return line;
}

}  // namespace

NumberState ParseNumber(std::string_view field, char decimalMark, float& value) {
    if (decimalMark == '.') return ParsePointNumber(field, value);
    const std::size_t mark = field.find(',');
    if (field.find('.') != std::string_view::npos) {
        return IsNotFinite(field) ? NumberState::NotFinite : NumberState::NotANumber;
    }
    if (mark == std::string_view::npos) return ParsePointNumber(field, value);
    const bool digitsAround =
        mark > 0 && IsDigit(field[mark - 1]) && mark + 1 < field.size() && IsDigit(field[mark + 1]);
    if (!digitsAround) return NumberState::NotANumber;
    std::string pointed(field);
    pointed[mark] = '.';
    return ParsePointNumber(pointed, value);
}

Row ReadRow(std::string_view line, RowSyntax syntax) {
    Row row;
    std::string_view rest = WithoutEndSeparators(line, syntax.separator);
    while (!rest.empty()) {
        const std::string_view field = NextField(rest, syntax.separator);
        float value = 0;
        const NumberState state = ParseNumber(field, syntax.decimalMark, value);
        if (row.columns < kMostColumns) row.values[row.columns] = value;
        ++row.columns;
        if (state != NumberState::Good) {
            row.state = state;
            row.refused = field;
            return row;
        }
    }
    return row;
}

bool IsNotFinite(std::string_view field) {
    if (!field.empty() && (field.front() == '-' || field.front() == '+')) field.remove_prefix(1);
    std::string word(field.substr(0, 16));
    std::transform(word.begin(), word.end(), word.begin(), Lower);
    // The last three are what an old C run-time library prints, with a point or a decimal comma.
    return word == "nan" || word == "inf" || word == "infinity" || word.starts_with("nan(") ||
           word.starts_with("1.#") || word.starts_with("1,#");
}

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

}  // namespace lumvex::app
