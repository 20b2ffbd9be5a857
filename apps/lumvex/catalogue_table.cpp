#include "catalogue_table.hpp"

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

constexpr std::size_t kColumns = 3;
constexpr std::string_view kHeader[kColumns] = {"manufacturer", "model", "configuration"};

char SeparatorOf(std::string_view line) {
    std::size_t commas = 0, semicolons = 0;
    bool quoted = false;
    for (const char c : line) {
        if (c == '"') quoted = !quoted;
        if (quoted) continue;
        commas += c == ',';
        semicolons += c == ';';
    }
    return semicolons > commas ? ';' : ',';
}

// Takes the first field, with the separator behind it, from the line.
std::string TakeField(std::string_view& line, char separator, std::string& problem) {
    while (!line.empty() && IsBlank(line.front())) line.remove_prefix(1);
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

bool IsHeader(const CatalogueRow& row) {
    const auto same = [](std::string_view name, const std::string& field) {
        return std::ranges::equal(name, field, {}, {}, Lower);
    };
    return row.fields.size() == kColumns && std::equal(kHeader, kHeader + kColumns, row.fields.begin(), same);
}

CatalogueRow ReadRowOf(std::string_view line, char separator, std::size_t number) {
    CatalogueRow row{number, {}, {}};
    if (ValidUtf8(line) != line) row.problem = "the text is no valid UTF-8";
    for (;;) {
        row.fields.push_back(TakeField(line, separator, row.problem));
        if (line.empty() || !row.problem.empty()) break;
        line.remove_prefix(1);
    }
    while (row.fields.size() > kColumns && row.fields.back().empty()) row.fields.pop_back();
    const auto empty = std::ranges::find(row.fields, "");
    if (!row.problem.empty()) return row;
    if (row.fields.size() != kColumns) {
        row.problem =
            "expected 3 fields (manufacturer, model, configuration), found " + std::to_string(row.fields.size());
    } else if (empty != row.fields.end()) {
        row.problem = "the " + std::string(kHeader[empty - row.fields.begin()]) + " is empty";
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

}  // namespace

std::vector<CatalogueRow> ReadCatalogue(const fs::path& path) {
    const std::string text = TextOf(path);
    std::vector<CatalogueRow> rows;
    std::string_view rest = text;
    char separator = 0;
    bool first = true;
    for (std::size_t number = 1; !rest.empty(); ++number) {
        const std::size_t end = std::min(rest.find_first_of("\r\n"), rest.size());
        const std::string_view line = rest.substr(0, end);
        rest.remove_prefix(end);
        rest.remove_prefix(rest.starts_with("\r\n") ? 2 : rest.empty() ? 0 : 1);
        if (Trimmed(line).empty()) continue;
        if (!separator) separator = SeparatorOf(line);
        CatalogueRow row = ReadRowOf(line, separator, number);
        if (!(first && IsHeader(row))) rows.push_back(std::move(row));
        first = false;
    }
    if (first) throw FileError(path, "the file is empty");
    return rows;
}

}  // namespace lumvex::app
