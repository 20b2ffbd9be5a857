#include "files/text_table.hpp"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string_view>

#include "files/file_error.hpp"
#include "files/text_encoding.hpp"
#include "files/text_numbers.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

char SeparatorOf(std::string_view line) {
    std::size_t commas = 0, semicolons = 0;
    bool quoted = false, hasTab = false, hasCommaTab = false;
    char before = 0;
    for (const char c : line) {
        if (c == '"') quoted = !quoted;
        if (!quoted) {
            commas += c == ',';
            semicolons += c == ';';
            hasTab |= c == '\t';
            hasCommaTab |= c == '\t' && before == ',';
        }
        before = c;
    }
    if (hasTab && !hasCommaTab && semicolons == 0) return '\t';  // commas are then decimal marks, or in names
    return semicolons > commas ? ';' : ',';
}

// Takes the first field, with the separator behind it, from the line.
std::string TakeField(std::string_view& line, char separator, std::string& problem) {
    while (!line.empty() && IsBlank(line.front()) && line.front() != separator) line.remove_prefix(1);
    std::string field;
    if (line.starts_with('"')) {
        bool closed = false;
        line.remove_prefix(1);
        while (!line.empty() && !closed) {
            const bool isMark = line.front() == '"';
            const bool isDoubled = isMark && line.substr(1).starts_with('"');
            if (isMark && !isDoubled) {
                closed = true;
            } else {
                field += line.front();
            }
            line.remove_prefix(isDoubled ? 2 : 1);
        }
        if (!closed) problem = "a quotation mark is not closed";
        const std::size_t next = std::min(line.find(separator), line.size());
        if (problem.empty() && !Trimmed(line.substr(0, next)).empty())
            problem = "text follows a closing quotation mark: " + Quoted(line.substr(0, next));
        line.remove_prefix(next);
        return std::string(Trimmed(field));
    }
    const std::size_t end = std::min(line.find(separator), line.size());
    field = Trimmed(line.substr(0, end));
    line.remove_prefix(end);
    return field;
}

TableRow ReadRowOf(std::string_view line, char separator, std::size_t number) {
    TableRow row{number, {}, {}};
    if (ValidUtf8(line) != line) row.problem = "the text is no valid UTF-8";
    for (;;) {
        row.fields.push_back(TakeField(line, separator, row.problem));
        if (line.empty() || !row.problem.empty()) break;
        line.remove_prefix(1);
    }
    return row;
}

std::string TextOf(const fs::path& path) {
    if (fs::is_directory(path)) throw FileError(path, std::make_error_code(std::errc::is_a_directory));
    std::ifstream in(path, std::ios::binary);
    if (!in) throw FileError(path, LastSystemError());
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    if (in.bad()) throw FileError(path, LastSystemError());
    return DecodeText(std::move(bytes), path);
}

std::string Joined(const std::vector<std::string>& fields) {
    std::string joined;
    for (const std::string& field : fields) joined += (&field == &fields[0] ? "" : " ") + field;
    return joined;
}

}  // namespace

std::vector<TableRow> ReadTable(const fs::path& path) {
    const std::string text = TextOf(path);
    std::vector<TableRow> rows;
    std::string_view rest = text;
    char separator = 0;
    for (std::size_t number = 1; !rest.empty(); ++number) {
        const std::size_t end = std::min(rest.find_first_of("\r\n"), rest.size());
        const std::string_view line = rest.substr(0, end);
        rest.remove_prefix(end);
        rest.remove_prefix(rest.starts_with("\r\n") ? 2 : rest.empty() ? 0 : 1);
        if (Trimmed(line).empty()) continue;
        if (!separator) separator = SeparatorOf(line);
        rows.push_back(ReadRowOf(line, separator, number));
    }
    if (rows.empty()) throw FileError(path, "the file is empty");
    return rows;
}

void DropEmptyEnd(TableRow& row, std::size_t columns) {
    while (row.fields.size() > columns && row.fields.back().empty()) row.fields.pop_back();
}

void DropHeader(const fs::path& path, std::vector<TableRow>& rows, const std::vector<std::string>& names) {
    for (TableRow& row : rows) DropEmptyEnd(row, names.size());
    const auto same = [](const std::string& name, const std::string& field) {
        return std::ranges::equal(name, field, {}, Lower, Lower);
    };
    const std::vector<std::string> header = rows[0].fields;
    std::vector<std::size_t> places;  // of the names in the header
    for (const std::string& name : names) {
        const auto field = std::ranges::find_if(header, [&](const std::string& each) { return same(name, each); });
        if (field != header.end()) places.push_back(static_cast<std::size_t>(field - header.begin()));
    }
    if (places.size() < 2 && places.size() != names.size()) return;
    if (places.size() != names.size() || header.size() != names.size()) {
        std::string expected;
        for (const std::string& name : names) expected += (expected.empty() ? "the columns " : ", ") + name;
        throw FileError(path, rows[0].line, expected, Quoted(Joined(header)));
    }
    rows.erase(rows.begin());
    for (TableRow& row : rows) {
        if (row.fields.size() != names.size()) continue;
        std::vector<std::string> fields;
        fields.reserve(places.size());
        for (const std::size_t place : places) fields.push_back(std::move(row.fields[place]));
        row.fields = std::move(fields);
    }
}

bool ReadNumber(std::string_view field, float& value) {
    const NumberStyle style = field.find(',') == field.npos ? NumberStyle::Point : NumberStyle::Comma;
    return ParseNumber(field, style, value) == NumberState::Good;
}

std::vector<float> ReadNumbers(const fs::path& path, const std::vector<std::string>& names,
                               const RowProblem& problemOf) {
    std::string expected = std::to_string(names.size()) + " numbers (";
    for (const std::string& name : names) expected += (&name == &names[0] ? "" : ", ") + name;
    expected += ')';
    std::vector<TableRow> rows = ReadTable(path);
    DropHeader(path, rows, names);
    if (rows.empty()) throw FileError(path, "there are no numbers below the header");
    std::vector<float> values;
    for (const TableRow& row : rows) {
        if (!row.problem.empty()) throw FileError(path, row.line, expected, row.problem);
        if (row.fields.size() != names.size())
            throw FileError(path, row.line, expected, std::to_string(row.fields.size()) + " fields");
        for (const std::string& field : row.fields) {
            if (IsGrouped(field, ','))
                throw FileError(path, row.line, expected + " with a decimal point, or without groups of thousands",
                                Quoted(field));
            if (!ReadNumber(field, values.emplace_back())) throw FileError(path, row.line, expected, Quoted(field));
        }
        if (!problemOf) continue;
        const std::span<const float> all = values, last = all.last(names.size());
        const auto before =
            all.size() == last.size() ? std::span<const float>() : all.last(2 * names.size()).first(names.size());
        if (const std::string problem = problemOf(last, before); !problem.empty())
            throw FileError(path, row.line, problem, Quoted(Joined(row.fields)));
    }
    return values;
}

}  // namespace lumvex::app
