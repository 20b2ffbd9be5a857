#include "files/text_reader.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "files/calibration_header.hpp"
#include "files/text_encoding.hpp"
#include "files/text_numbers.hpp"

namespace lumvex::app {

namespace {

// A file separates its columns in one way and writes its decimals in one way, the same in every line. So a comma is the
// decimal mark where something else separates the columns ("20,5;63,1", "20,5 63,1") and the separator where nothing
// else does ("20.5,63.1", "20,63"); no line of numbers can be read in two of these ways to different values. The order
// decides only how a file that fits none of them is explained.
constexpr RowSyntax kSyntaxes[] = {{' ', '.'}, {' ', ','}, {';', '.'}, {';', ','}, {',', '.'}};

struct Layout {
    RowSyntax syntax{' ', '.'};
    std::size_t columns = 0;
};

enum class LineKind { Blank, Words, Numbers };

// A header's line may begin with what looks like a number: "NaN values are left out". Only a line that is numbers
// throughout belongs to the table.
bool IsRowOfNotFinite(std::string_view line) {
    bool notFinite = false;
    while (!line.empty()) {
        const std::size_t end = std::min(line.find_first_of(" \t;,"), line.size());
        const std::string_view field = line.substr(0, end);
        line.remove_prefix(std::min(end + 1, line.size()));
        if (IsNotFinite(field)) {
            notFinite = true;
        } else if (field.find_first_not_of("+-.0123456789eE") != std::string_view::npos) {
            return false;
        }
    }
    return notFinite;
}

LineKind KindOf(std::string_view line) {
    line = Trimmed(line);
    if (line.empty()) return LineKind::Blank;
    const char first = line.front();
    if (IsDigit(first) || first == '-' || first == '+' || first == '.') return LineKind::Numbers;
    if (line.find_first_not_of(" \t;,") == std::string_view::npos) return LineKind::Blank;
    constexpr std::string_view kCommentMarks = "*#\";%!'[(";  // brackets: the units or sections of a header
    if (kCommentMarks.find(first) != std::string_view::npos || line.starts_with("//")) return LineKind::Words;
    const bool letter = IsLetter(first) || static_cast<unsigned char>(first) >= 0x80;
    return letter && !IsRowOfNotFinite(line) ? LineKind::Words : LineKind::Numbers;
}

// The lines that are not blank, whatever ends them: LF, CRLF or CR.
class Lines {
public:
    explicit Lines(std::string_view text) : rest_(text) {}

    bool Next() {
        while (!rest_.empty()) {
            std::size_t end = 0;
            while (end < rest_.size() && rest_[end] != '\n' && rest_[end] != '\r') ++end;
            text_ = rest_.substr(0, end);
            const bool two = rest_.substr(end).starts_with("\r\n");
            rest_.remove_prefix(std::min(end + (two ? 2 : 1), rest_.size()));
            ++number_;
            kind_ = KindOf(text_);
            if (kind_ != LineKind::Blank) return true;
        }
        return false;
    }
    bool NextNumbers() {
        while (Next()) {
            if (kind_ == LineKind::Numbers) return true;
        }
        return false;
    }

    std::string_view Text() const { return text_; }
    std::size_t Number() const { return number_; }  // counts every line, from 1
    LineKind Kind() const { return kind_; }

private:
    std::string_view rest_;
    std::string_view text_;
    std::size_t number_ = 0;
    LineKind kind_ = LineKind::Blank;
};

bool Fits(const Row& row, std::size_t columns) { return row.state == NumberState::Good && row.columns == columns; }

bool FitsSome(const Row& row) {
    return row.state == NumberState::Good && row.columns >= kFewestColumns && row.columns <= kMostColumns;
}

// Reads the table, column after column; nothing unless every line of numbers fits the layout.
std::optional<std::vector<float>> ReadTable(std::string_view text, const Layout& layout) {
    std::array<std::vector<float>, kMostColumns> columns;
    for (Lines lines(text); lines.NextNumbers();) {
        const Row row = ReadRow(lines.Text(), layout.syntax);
        if (!Fits(row, layout.columns)) return std::nullopt;
        for (std::size_t i = 0; i < layout.columns; ++i) columns[i].push_back(row.values[i]);
    }
    std::vector<float> table = std::move(columns[0]);
    table.reserve(table.size() * layout.columns);
    for (std::size_t i = 1; i < layout.columns; ++i) {
        table.insert(table.end(), columns[i].begin(), columns[i].end());
        columns[i] = {};
    }
    return table;
}

// The layout that fits the most lines, and among equals the one that fits earlier; none if no line fits any.
std::optional<Layout> MostLikelyLayout(std::string_view text) {
    struct Votes {
        Layout layout;
        std::size_t count = 0;
        std::size_t firstLine = 0;
    };
    std::vector<Votes> votes;
    for (RowSyntax syntax : kSyntaxes) {
        for (std::size_t columns = kFewestColumns; columns <= kMostColumns; ++columns)
            votes.push_back({{syntax, columns}});
    }
    for (Lines lines(text); lines.NextNumbers();) {
        for (Votes& vote : votes) {
            if (!Fits(ReadRow(lines.Text(), vote.layout.syntax), vote.layout.columns)) continue;
            if (vote.count++ == 0) vote.firstLine = lines.Number();
        }
    }
    const auto best = std::min_element(votes.begin(), votes.end(), [](const Votes& a, const Votes& b) {
        return a.count != b.count ? a.count > b.count : a.firstLine < b.firstLine;
    });
    return best->count == 0 ? std::nullopt : std::optional(best->layout);
}

std::string Describe(const Layout& layout) {
    const char separator = layout.syntax.separator;
    return std::to_string(layout.columns) + " numbers separated by " +
           (separator == ' '   ? "blanks or tabs"
            : separator == ';' ? "semicolons"
                               : "commas") +
           (layout.syntax.decimalMark == ',' ? ", with decimal commas" : ", as in the other lines");
}

[[noreturn]] void Refuse(const std::filesystem::path& path, const Lines& line, const Row& row,
                         const std::string& expected) {
    const std::string found = row.refused.empty() ? "an empty column" : Quoted(row.refused);
    switch (row.state) {
        case NumberState::NotFinite:
            throw FileError(path, line.Number(), "a finite number", found);
        case NumberState::OutOfRange:
            throw FileError(path, line.Number(), "a number within the range of 32-bit floats", found);
        case NumberState::NotANumber:
            throw FileError(path, line.Number(), expected, found + " in " + Quoted(Trimmed(line.Text())));
        case NumberState::Good:
            break;
    }
    const std::string count = row.columns == 1 ? "1 number" : std::to_string(row.columns) + " numbers";
    throw FileError(path, line.Number(), expected, count + " in " + Quoted(Trimmed(line.Text())));
}

// Explains why no layout fits all lines. A line is wrong only in comparison with the others, so the layout of the
// majority decides which line is named.
[[noreturn]] void RefuseWorstLine(const std::filesystem::path& path, std::string_view text) {
    const std::optional<Layout> layout = MostLikelyLayout(text);
    Lines lines(text);
    while (lines.NextNumbers()) {
        const Row row = ReadRow(lines.Text(), layout ? layout->syntax : kSyntaxes[0]);
        if (layout && Fits(row, layout->columns)) continue;
        if (layout) Refuse(path, lines, row, Describe(*layout));

        // No line fits any layout. The most telling reason for this line is a number that cannot be kept (NaN, or too
        // large), if some layout leads to one.
        for (RowSyntax syntax : kSyntaxes) {
            const Row other = ReadRow(lines.Text(), syntax);
            const bool telling = other.state == NumberState::NotFinite || other.state == NumberState::OutOfRange;
            if (telling) Refuse(path, lines, other, "");
        }
        throw FileError(path, lines.Number(), "2 or 3 numbers (frequency, level, phase)",
                        Quoted(Trimmed(lines.Text())));
    }
    throw FileError(path, 0, "lines of 2 or 3 numbers (frequency, level, phase)", "none");
}

std::vector<float> ReadNumbers(const std::filesystem::path& path, std::string_view text, std::size_t& columns) {
    Lines first(text);
    if (first.NextNumbers()) {
        for (RowSyntax syntax : kSyntaxes) {
            const Row row = ReadRow(first.Text(), syntax);
            if (!FitsSome(row)) continue;
            columns = row.columns;
            if (auto table = ReadTable(text, {syntax, columns})) return std::move(*table);
        }
    }
    RefuseWorstLine(path, text);
}

CalibrationHeader ReadHeader(std::string_view text) {
    CalibrationHeader header;
    for (Lines lines(text); lines.Next() && lines.Kind() == LineKind::Words;) header.ReadLine(lines.Text());
    return header;
}

}  // namespace

MeasurementFile ReadText(const std::filesystem::path& path, std::string bytes) {
    std::string text = DecodeText(std::move(bytes), path);
    if (text.ends_with('\x1A')) text.pop_back();  // the end-of-file character of old systems
    if (const std::size_t zero = text.find('\0'); zero != std::string::npos) {
        const std::size_t line = static_cast<std::size_t>(std::count(text.data(), text.data() + zero, '\n')) + 1;
        throw FileError(path, line, "text (in UTF-16 with its byte-order mark)", "a zero byte");
    }

    MeasurementFile file;
    file.values = ReadNumbers(path, text, file.columns);
    file.rows = file.values.size() / file.columns;
    const CalibrationHeader header = ReadHeader(text);
    const std::string extension = LowerExtension(path);
    if (header.IsCalibration() || extension == ".cal" || extension == ".mic") {
        file.kind = MeasurementFile::Kind::Calibration;
        file.serialNumber = header.SerialNumber();
        file.sensitivity = header.Sensitivity();
    }
    return file;
}

}  // namespace lumvex::app
