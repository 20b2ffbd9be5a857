#include "files/text_layout.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <locale>
#include <sstream>
#include <utility>

#include "files/file_error.hpp"

namespace lumvex::app {

namespace {

// A file separates its columns in one way and writes its numbers in one way, the same in every line. So a comma is the
// decimal mark where something else separates the columns ("20,5;63,1", "20,5 63,1") and the separator where nothing
// else does ("20.5,63.1", "20,63"). The order decides only how a file that fits none of them is explained.
constexpr RowSyntax kSyntaxes[] = {
    {' ', NumberStyle::Point},        {' ', NumberStyle::Comma},        {';', NumberStyle::Point},
    {';', NumberStyle::Comma},        {',', NumberStyle::Point},        {',', NumberStyle::Comma},
    {' ', NumberStyle::PointGrouped}, {' ', NumberStyle::CommaGrouped}, {';', NumberStyle::PointGrouped},
    {';', NumberStyle::CommaGrouped}, {',', NumberStyle::PointGrouped}, {',', NumberStyle::CommaGrouped}};

constexpr float kMostDecibels = 1000;
constexpr const char* kShape = "2 or 3 numbers (frequency, level, phase)";

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

enum class LineKind { Blank, Words, Numbers };

LineKind KindOf(std::string_view line) {
    line = Trimmed(line);
    if (line.empty()) return LineKind::Blank;
    const char first = line.front();
    if (IsDigit(first) || first == '-' || first == '+' || first == '.') return LineKind::Numbers;
    if (line.find_first_not_of(" \t;,") == std::string_view::npos) return LineKind::Blank;
    if (IsQuotedNumbers(line)) return LineKind::Numbers;
    constexpr std::string_view kCommentMarks = "*#\";%!'[(";  // brackets: the units or sections of a header
    if (kCommentMarks.find(first) != std::string_view::npos || line.starts_with("//")) return LineKind::Words;
    const bool letter = IsLetter(first) || static_cast<unsigned char>(first) >= 0x80;
    return letter && !IsRowOfNotFinite(line) ? LineKind::Words : LineKind::Numbers;
}

bool Fits(const Row& row, std::size_t columns) {
    return (row.state == NumberState::Good || row.state == NumberState::NotFinite) && row.values.size() == columns;
}

std::uint64_t Mixed(std::uint64_t hash, float value) {
    return (hash ^ std::bit_cast<std::uint32_t>(value)) * 0x100000001B3;
}

// One way to read the file, and what its lines look like when they are read so.
struct Reading {
    RowSyntax syntax;
    std::size_t columns = 0;  // of the first line
    bool fits = true;
    std::uint64_t hash = 0xCBF29CE484222325;  // of all values
    float previous = 0;
    bool isResponse = true;

    void Add(const Row& row, const LayoutWish& wish) {
        if (columns == 0) columns = row.values.size();
        if (!Fits(row, columns)) {
            fits = false;
            return;
        }
        for (const float value : row.values) hash = Mixed(hash, value);
        if (std::max(wish.frequency, wish.level) >= columns) return;
        const float frequency = row.values[wish.frequency];
        isResponse = isResponse && frequency > previous && !(std::abs(row.values[wish.level]) > kMostDecibels);
        previous = frequency;
    }
};

// Two readings that differ in the groups of thousands alone, and a line without their mark.
bool ReadsTheSame(std::string_view line, const RowSyntax& one, const RowSyntax& two) {
    const char decimalMark = DecimalMarkOf(one.style);
    return one.separator == two.separator && decimalMark == DecimalMarkOf(two.style) &&
           line.find(decimalMark == '.' ? ',' : '.') == line.npos;
}

std::string Describe(const Layout& layout) {
    const char separator = layout.syntax.separator;
    return std::to_string(layout.columns) + " numbers separated by " +
           (separator == ' '   ? "blanks or tabs"
            : separator == ';' ? "semicolons"
                               : "commas") +
           (DecimalMarkOf(layout.syntax.style) == ',' ? ", with decimal commas" : ", as in the other lines");
}

[[noreturn]] void Refuse(const std::filesystem::path& path, const TableLines& line, const Row& row,
                         const std::string& expected) {
    const std::string found = row.refused.empty() ? "an empty column" : Quoted(row.refused);
    switch (row.state) {
        case NumberState::OutOfRange:
            throw FileError(path, line.Number(), "a number within the range of 32-bit floats", found);
        case NumberState::NotANumber:
            throw FileError(path, line.Number(), expected, found + " in " + Quoted(Trimmed(line.Text())));
        case NumberState::NotFinite:
        case NumberState::Good:
            break;
    }
    const std::string count = row.values.size() == 1 ? "1 number" : std::to_string(row.values.size()) + " numbers";
    throw FileError(path, line.Number(), expected, count + " in " + Quoted(Trimmed(line.Text())));
}

// The layout that fits the most lines, and among equals the one that fits earlier; none if no line fits any.
std::optional<Layout> MostLikelyLayout(TableLines& lines) {
    constexpr std::size_t kTried = 8;  // columns
    struct Votes {
        Layout layout;
        std::size_t count = 0, firstLine = 0;
    };
    std::vector<Votes> votes;
    for (const RowSyntax& syntax : kSyntaxes) {
        for (std::size_t columns = 2; columns <= kTried; ++columns) votes.push_back({{syntax, columns}});
    }
    lines.Rewind();
    for (Row row; lines.NextNumbers();) {
        for (std::size_t at = 0; at < votes.size(); ++at) {
            if (at % (kTried - 1) == 0) ReadRow(lines.Text(), votes[at].layout.syntax, row);
            if (!Fits(row, votes[at].layout.columns)) continue;
            if (votes[at].count++ == 0) votes[at].firstLine = lines.Number();
        }
    }
    const auto best = std::min_element(votes.begin(), votes.end(), [](const Votes& a, const Votes& b) {
        return a.count != b.count ? a.count > b.count : a.firstLine < b.firstLine;
    });
    return best->count == 0 ? std::nullopt : std::optional(best->layout);
}

// Explains why no layout fits all lines. A line is wrong only in comparison with the others, so the layout of the
// majority decides which line is named.
[[noreturn]] void RefuseWorstLine(const std::filesystem::path& path, TableLines& lines) {
    const std::optional<Layout> layout = MostLikelyLayout(lines);
    lines.Rewind();
    for (Row row; lines.NextNumbers();) {
        ReadRow(lines.Text(), layout ? layout->syntax : kSyntaxes[0], row);
        if (layout && Fits(row, layout->columns)) continue;
        if (layout) Refuse(path, lines, row, Describe(*layout));

        // No line fits any layout. The most telling reason for this line is a number that cannot be kept, if some
        // layout leads to one.
        for (const RowSyntax& syntax : kSyntaxes) {
            ReadRow(lines.Text(), syntax, row);
            if (row.state == NumberState::OutOfRange) Refuse(path, lines, row, "");
        }
        throw FileError(path, lines.Number(), kShape, Quoted(Trimmed(lines.Text())));
    }
    throw FileError(path, 0, std::string("lines of ") + kShape, "none");
}

// Names the first number that the two readings take differently.
[[noreturn]] void RefuseAmbiguous(const std::filesystem::path& path, TableLines& lines, const Reading& one,
                                  const Reading& two) {
    lines.Rewind();
    for (Row row, other; lines.NextNumbers();) {
        ReadRow(lines.Text(), one.syntax, row);
        ReadRow(lines.Text(), two.syntax, other);
        for (std::size_t at = 0; at < std::min(row.values.size(), other.values.size()); ++at) {
            if (std::bit_cast<std::uint32_t>(row.values[at]) == std::bit_cast<std::uint32_t>(other.values[at]))
                continue;
            std::ostringstream found;
            found.imbue(std::locale::classic());
            const auto [less, more] = std::minmax(row.values[at], other.values[at]);
            found << Quoted(row.fields[at]) << ", which could be " << less << " or " << more;
            throw FileError(path, lines.Number(),
                            "numbers whose decimal mark some line of the file shows (else --decimal says it)",
                            found.str());
        }
    }
    throw FileError(path, 0, "numbers that can be read in one way", "several ways");
}

}  // namespace

void TableLines::Rewind() {
    lines_.Rewind();
    inHeader_ = true;
}

bool TableLines::Next() {
    while (lines_.Next()) {
        const std::string_view whole = Trimmed(lines_.Text());
        text_ = Trimmed(PlainLine(whole, storage_));
        LineKind kind = KindOf(text_);
        if (kind == LineKind::Blank && KindOf(whole) == LineKind::Blank) continue;
        // "2.08e-5 // Sample interval": one number and what it is belong to the header.
        const bool isDescribed = inHeader_ && kind == LineKind::Numbers && whole.find("//") != whole.npos &&
                                 text_.find_first_of(" \t;") == text_.npos;
        if (isDescribed) kind = LineKind::Words;
        isNumbers_ = kind == LineKind::Numbers;
        if (isNumbers_) {
            inHeader_ = false;
        } else {
            text_ = whole;
        }
        return true;
    }
    return false;
}

bool TableLines::NextNumbers() {
    while (Next()) {
        if (isNumbers_) return true;
    }
    return false;
}

TableForm FindLayout(const std::filesystem::path& path, TableLines& lines, const LayoutWish& wish) {
    TableForm form;
    std::vector<Reading> readings;
    for (const RowSyntax& syntax : kSyntaxes) {
        if (!wish.decimalMark || DecimalMarkOf(syntax.style) == *wish.decimalMark)
            readings.push_back({.syntax = syntax});
    }
    // Those that may take a line alike follow each other.
    std::ranges::stable_sort(readings, {}, [](const Reading& reading) {
        return std::pair(reading.syntax.separator, DecimalMarkOf(reading.syntax.style));
    });
    const auto fits = [](const Reading& reading) { return reading.fits; };
    Row row;
    while (lines.Next()) {
        if (!lines.IsNumbers()) {
            if (lines.InHeader()) form.header.ReadLine(lines.Text());
            continue;
        }
        if (form.rows++ == 0) {
            form.firstLine = lines.Number();
            form.firstText = lines.Text();
        }
        const Reading* read = nullptr;  // what `row` was read as
        for (Reading& reading : readings) {
            if (!reading.fits) continue;
            if (!read || !ReadsTheSame(lines.Text(), read->syntax, reading.syntax))
                ReadRow(lines.Text(), reading.syntax, row);
            read = &reading;
            reading.Add(row, wish);
        }
        if (std::ranges::none_of(readings, fits)) RefuseWorstLine(path, lines);
    }
    if (form.rows == 0) RefuseWorstLine(path, lines);
    std::erase_if(readings, std::not_fn(fits));
    const auto keep = [&](auto&& good) {
        if (std::ranges::any_of(readings, good)) std::erase_if(readings, std::not_fn(good));
    };
    // "0,5" in every line: two columns, unless the header speaks of samples and no response could look so.
    const TextHeader& header = form.header;
    const bool isSampled = header.Interval() || header.Rate();
    const auto several = [](const Reading& reading) { return reading.columns > 1; };
    const auto response = [](const Reading& reading) { return reading.columns > 1 && reading.isResponse; };
    if (header.Channels() && isSampled) {
        keep([&](const Reading& reading) { return reading.columns == header.Channels(); });
    } else if (isSampled && std::ranges::none_of(readings, response)) {
        keep(std::not_fn(several));
    } else {
        keep(several);
    }
    if (wish.isResponse) keep([](const Reading& reading) { return reading.isResponse; });
    const auto other =
        std::ranges::find_if(readings, [&](const Reading& each) { return each.hash != readings[0].hash; });
    if (other != readings.end()) RefuseAmbiguous(path, lines, readings[0], *other);
    form.layout = {readings[0].syntax, readings[0].columns};
    return form;
}

}  // namespace lumvex::app
