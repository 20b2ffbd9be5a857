#include "files/text_numbers.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <system_error>
#include <type_traits>

#include "read_real.hpp"

namespace lumvex::app {

namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::string_view kMinusSign = "\xE2\x88\x92";

// Digits with at most a sign in front: keeps out the words that from_chars takes for numbers, such as "inf".
bool StartsNumber(std::string_view text) {
    if (!text.empty() && text.front() == '-') text.remove_prefix(1);
    if (!text.empty() && text.front() == '.') text.remove_prefix(1);
    return !text.empty() && IsDigit(text.front());
}

// For a number that from_chars finds too large or too small and does not say which: too small is a zero.
template <class Real>
NumberState ParseExtreme(std::string_view text, Real& value) {
    double wide = 0;
    if (inside::ReadReal(text.data(), text.data() + text.size(), wide).ec == std::errc{}) {
        value = static_cast<Real>(wide);
        return std::isfinite(value) ? NumberState::Good : NumberState::OutOfRange;
    }
    const std::size_t exponent = text.find_first_of("eE");
    const std::string_view digits = text.substr(text.front() == '-' ? 1 : 0);
    const bool tiny =
        exponent == npos ? digits.front() == '0' || digits.front() == '.' : text.substr(exponent + 1).starts_with('-');
    value = text.front() == '-' ? Real(-0.0) : Real(0);
    return tiny ? NumberState::Good : NumberState::OutOfRange;
}

template <class Real>
NumberState ParsePlainNumber(std::string_view text, Real& value) {
    if (text.starts_with('+') && !text.substr(1).starts_with('-')) text.remove_prefix(1);
    if (!StartsNumber(text)) return IsNotFinite(text) ? NumberState::NotFinite : NumberState::NotANumber;
    const auto [end, error] = inside::ReadReal(text.data(), text.data() + text.size(), value);
    if (end != text.data() + text.size()) return IsNotFinite(text) ? NumberState::NotFinite : NumberState::NotANumber;
    return error == std::errc{} ? NumberState::Good : ParseExtreme(text, value);
}

std::size_t DigitsAt(std::string_view text, std::size_t from) {
    std::size_t end = from;
    while (end < text.size() && IsDigit(text[end])) ++end;
    return end - from;
}

// Writes the number with a decimal point, without groups and with the exponent of C. Returns false where the field is
// none in this style.
bool Plain(std::string_view field, NumberStyle style, std::string& plain) {
    const char decimal = DecimalMarkOf(style), other = decimal == '.' ? ',' : '.';
    const bool grouped = style == NumberStyle::PointGrouped || style == NumberStyle::CommaGrouped;
    plain.assign(field);
    if (field.find(other) != npos) {
        if (!grouped || !IsGrouped(field, other)) return false;
        std::erase(plain, other);
    }
    const std::size_t mark = plain.find(decimal);
    if (decimal == ',' && mark != npos) {
        const bool digitsAround =
            mark > 0 && IsDigit(plain[mark - 1]) && mark + 1 < plain.size() && IsDigit(plain[mark + 1]);
        if (!digitsAround) return false;
        plain[mark] = '.';
    }
    for (std::size_t at = 1; at + 1 < plain.size(); ++at) {
        const bool isExponent = (plain[at] == 'D' || plain[at] == 'd') &&
                                (IsDigit(plain[at - 1]) || plain[at - 1] == '.') &&
                                (IsDigit(plain[at + 1]) || plain[at + 1] == '-' || plain[at + 1] == '+');
        if (isExponent) plain[at] = 'e';
    }
    return true;
}

template <class Real>
NumberState Parse(std::string_view field, NumberStyle style, Real& value) {
    if (field.find_first_of(",dD") == npos && DecimalMarkOf(style) == '.') return ParsePlainNumber(field, value);
    std::string plain;
    if (IsNotFinite(field)) return NumberState::NotFinite;
    return Plain(field, style, plain) ? ParsePlainNumber(std::string_view(plain), value) : NumberState::NotANumber;
}

// Takes the next field off the line. Fields between ';' or ',' may be empty; blanks and tabs count as one separator.
// A separator within quotation marks separates nothing.
std::string_view NextField(std::string_view& rest, char separator, bool& quoted) {
    std::size_t end = 0;
    quoted = rest.starts_with('"') && rest.find('"', 1) != npos;
    if (quoted) end = rest.find('"', 1) + 1;
    if (separator == ' ') {
        while (end < rest.size() && !IsBlank(rest[end])) ++end;
    } else {
        end = std::min(rest.find(separator, end), rest.size());
    }
    std::string_view field = Trimmed(rest.substr(0, end));
    if (quoted && field.size() >= 2 && field.ends_with('"')) field = Trimmed(field.substr(1, field.size() - 2));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    rest = Trimmed(rest);
    return field;
}

std::string_view WithoutEndSeparators(std::string_view line, char separator) {
    line = Trimmed(line);
    while (line.ends_with(separator)) line = Trimmed(line.substr(0, line.size() - 1));
    return line;
}

}  // namespace

bool IsGrouped(std::string_view field, char mark) {
    std::size_t at = field.starts_with('-') || field.starts_with('+') ? 1 : 0;
    const std::size_t first = DigitsAt(field, at);
    if (first == 0 || first > 3 || field[at] == '0') return false;
    std::size_t groups = 0;
    for (at += first; at < field.size() && field[at] == mark; at += 4, ++groups) {
        if (DigitsAt(field, at + 1) != 3) return false;
    }
    return groups != 0 && field.find(mark, at) == npos;
}

NumberState ParseNumber(std::string_view field, NumberStyle style, float& value) { return Parse(field, style, value); }
NumberState ParseNumber(std::string_view field, NumberStyle style, double& value) { return Parse(field, style, value); }

void ReadRow(std::string_view line, RowSyntax syntax, Row& row) {
    row.values.clear();
    row.fields.clear();
    row.state = NumberState::Good;
    row.refused = {};
    std::string_view rest = WithoutEndSeparators(line, syntax.separator);
    while (!rest.empty()) {
        bool quoted = false;
        const std::string_view field = NextField(rest, syntax.separator, quoted);
        float value = 0;
        NumberState state = ParseNumber(field, syntax.style, value);
        if (syntax.separator == ',' && !quoted) {
            // "1,000,70" would be read as three columns: what begins with two zeros is the end of a grouped number.
            const bool isGroup = DigitsAt(field, 0) > 2 && field.starts_with("00");
            const bool hasGroups = syntax.style == NumberStyle::CommaGrouped && field.find('.') != npos;
            if (isGroup || hasGroups) state = NumberState::NotANumber;
        }
        if (state == NumberState::NotFinite) value = std::numeric_limits<float>::quiet_NaN();
        row.values.push_back(value);
        row.fields.push_back(field);
        if (state == NumberState::Good) continue;
        if (row.state == NumberState::Good || state != NumberState::NotFinite) row.refused = field;
        row.state = state;
        if (state != NumberState::NotFinite) return;
    }
}

std::string_view PlainLine(std::string_view line, std::string& storage) {
    for (std::size_t at = line.find_first_of("#!%*/;"); at != npos; at = line.find_first_of("#!%*/;", at + 1)) {
        if (line[at] == '/' && line.substr(at + 1, 1) != "/") continue;
        if (line[at] == ';') {
            const std::string_view behind = Trimmed(line.substr(at + 1));
            const bool isWords = !behind.empty() && IsLetter(behind.front()) && !IsNotFinite(behind.substr(0, 3));
            if (!isWords) continue;
        } else if (at != 0 && !IsBlank(line[at - 1]) && line[at - 1] != ',' && line[at - 1] != ';') {
            continue;
        }
        if (at != 0) line = line.substr(0, at);
        break;
    }
    if (line.find(kMinusSign) == npos) return line;
    storage.assign(line);
    for (std::size_t at = storage.find(kMinusSign); at != npos; at = storage.find(kMinusSign, at))
        storage.replace(at, kMinusSign.size(), 1, '-');
    return storage;
}

bool IsQuotedNumbers(std::string_view line) {
    if (!line.starts_with('"')) return false;
    for (char separator : {',', ';', ' '}) {
        std::string_view rest = WithoutEndSeparators(line, separator);
        std::size_t fields = 0;
        bool all = true;
        while (all && !rest.empty()) {
            bool quoted = false;
            const std::string_view field = NextField(rest, separator, quoted);
            const bool isNumber = !field.empty() && field.find_first_of("0123456789") != npos &&
                                  field.find_first_not_of("+-.,0123456789eEdD\xE2\x88\x92") == npos;
            all = isNumber || IsNotFinite(field);
            ++fields;
        }
        if (all && fields > 1) return true;
    }
    return false;
}

bool IsNotFinite(std::string_view field) {
    if (!field.empty() && (field.front() == '-' || field.front() == '+')) field.remove_prefix(1);
    const std::string word = Lowered(field.substr(0, 16));
    // The last three are what an old C run-time library prints, with a point or a decimal comma.
    return word == "nan" || word == "inf" || word == "infinity" || word.starts_with("nan(") ||
           word.starts_with("1.#") || word.starts_with("1,#");
}

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

std::string Lowered(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), Lower);
    return lower;
}

}  // namespace lumvex::app
