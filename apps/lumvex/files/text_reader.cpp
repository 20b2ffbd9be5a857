#include "files/text_reader.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <locale>
#include <numeric>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "files/text_encoding.hpp"
#include "files/text_layout.hpp"
#include "files/time_column.hpp"

namespace lumvex::app {

namespace {

using Kind = MeasurementFile::Kind;

constexpr double kLongestStep = 5e-4;  // seconds between two samples; what steps farther is not taken for times unasked

std::string NumberText(double value) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.precision(9);
    text << value;
    return text.str();
}

// One reading of a text file: finds the layout, decides what the table is, and takes its columns.
class TextTable {
public:
    TextTable(const std::filesystem::path& path, std::istream& in, const ReadOptions& options)
        : path_(path),
          options_(options),
          lines_(path, in),
          form_(FindLayout(path, lines_, Wish())),
          header_(form_.header) {
        ChooseColumns();
    }

    MeasurementFile Read() {
        file_.header = header_.Text();
        const Kind kind = options_.as.value_or(GuessedKind());
        switch (kind) {
            case Kind::Impulse:
                ReadImpulse();
                break;
            case Kind::Data:
                TakeColumns(chosen_);
                CheckFinite();
                break;
            case Kind::Response:
            case Kind::Calibration:
                ReadResponse(kind);
                break;
        }
        file_.kind = kind;
        return std::move(file_);
    }

private:
    LayoutWish Wish() const {
        LayoutWish wish;
        const auto& columns = options_.columns;
        if (!columns.empty()) wish.frequency = columns[0] - 1;
        wish.level = columns.size() > 1 ? columns[1] - 1 : wish.frequency + 1;
        wish.isResponse = !options_.as || *options_.as == Kind::Response || *options_.as == Kind::Calibration;
        wish.decimalMark = options_.decimalMark;
        return wish;
    }

    void ChooseColumns() {
        const std::size_t there = form_.layout.columns;
        if (there > kMostColumns) Refuse("at most " + std::to_string(kMostColumns) + " columns", std::to_string(there));
        for (const std::size_t column : options_.columns) {
            if (column > there)
                Refuse("the columns of --columns", std::to_string(there) + (there == 1 ? " column" : " columns"));
            chosen_.push_back(column - 1);
        }
        if (!chosen_.empty()) return;
        chosen_.resize(there);
        std::iota(chosen_.begin(), chosen_.end(), std::size_t{0});
    }

    // At the first line of numbers.
    [[noreturn]] void Refuse(const std::string& expected, const std::string& found) const {
        throw FileError(path_, form_.firstLine, expected, found);
    }

    std::string Columns() const {
        const std::string names = header_.ColumnNames();
        return Quoted(form_.firstText) + (names.empty() ? "" : " below " + Quoted(names));
    }

    Kind GuessedKind() {
        const bool statesRate = header_.Interval() || header_.Rate();
        if (statesRate && chosen_.size() == header_.Channels().value_or(1)) return Kind::Impulse;
        if (chosen_.size() == 2 && HasTimes()) return Kind::Impulse;
        return KindOfHeader();
    }

    Kind KindOfHeader() const {
        const std::string extension = LowerExtension(path_);
        if (extension == ".cal" || extension == ".mic") return Kind::Calibration;
        // A measurement names its microphone too, and has phases, which calibrations seldom have.
        const bool isMeasured = chosen_.size() == 3 && header_.IsOfMeasurement();
        return header_.Calibration().IsCalibration() && !isMeasured ? Kind::Calibration : Kind::Response;
    }

    // The first chosen column.
    TimeColumn Times() {
        TimeColumn times;
        lines_.Rewind();
        for (Row row; lines_.NextNumbers();) {
            ReadRow(lines_.Text(), form_.layout.syntax, row);
            times.Add(row.fields[chosen_[0]]);
        }
        return times;
    }

    // Whether the first column can only be times: its mean step is one of audio samples.
    bool HasTimes() {
        if (form_.rows < 2) return false;
        double first = 0, last = 0;
        lines_.Rewind();
        bool begun = false;
        for (Row row; lines_.NextNumbers();) {
            ReadRow(lines_.Text(), form_.layout.syntax, row);
            last = row.values[chosen_[0]];
            if (!std::exchange(begun, true)) first = last;
        }
        const double step = (last - first) / static_cast<double>(form_.rows - 1);
        return step > 0 && step * header_.NamesTime().value_or(1) <= kLongestStep;
    }

    std::size_t LineOf(std::size_t row) {
        lines_.Rewind();
        for (std::size_t at = 0; lines_.NextNumbers(); ++at) {
            if (at == row) return lines_.Number();
        }
        return 0;
    }

    void TakeColumns(const std::vector<std::size_t>& columns) {
        file_.rows = form_.rows;
        file_.columns = columns.size();
        file_.values.resize(file_.rows * file_.columns);
        lines_.Rewind();
        Row row;
        for (std::size_t at = 0; lines_.NextNumbers(); ++at) {
            ReadRow(lines_.Text(), form_.layout.syntax, row);
            for (std::size_t column = 0; column < columns.size(); ++column)
                file_.values[column * file_.rows + at] = row.values[columns[column]];
        }
    }

    void CheckFinite() {
        for (std::size_t at = 0; at < file_.values.size(); ++at) {
            if (std::isfinite(file_.values[at])) continue;
            const std::size_t row = at % file_.rows, column = chosen_[at / file_.rows];
            const std::size_t number = LineOf(row);
            Row fields;
            ReadRow(lines_.Text(), form_.layout.syntax, fields);
            throw FileError(path_, number, "a finite number (--columns leaves a column out)",
                            Quoted(fields.fields[column]));
        }
    }

    // Drops the phases where every one of them is NaN: a program that has none may write that.
    void DropEmptyPhases() {
        if (file_.columns != 3) return;
        const auto phases = file_.values.begin() + static_cast<std::ptrdiff_t>(2 * file_.rows);
        if (!std::all_of(phases, file_.values.end(), [](float phase) { return std::isnan(phase); })) return;
        file_.values.erase(phases, file_.values.end());
        file_.columns = 2;
        file_.notes.push_back("no phase is a number, and the column is left out");
    }

    void ReadResponse(Kind kind) {
        if (chosen_.size() < 2 || chosen_.size() > 3) {
            const bool one = chosen_.size() == 1;
            Refuse(std::string("2 or 3 numbers (frequency, level, phase)") +
                       (one ? "; --as data keeps any others, --as impulse --rate HZ takes samples"
                            : "; --columns 1,2,3 says which these are, --as data keeps all"),
                   Columns());
        }
        if (!options_.as) CheckQuantity();
        if (options_.columns.empty() && MayBeGrouped())
            Refuse(
                "columns that are no groups of thousands (--columns 1,2,3 takes them as they are, 1 500 70 as 1 Hz, "
                "500 dB and 70 degrees)",
                Quoted(form_.firstText));
        TakeColumns(chosen_);
        DropEmptyPhases();
        CheckFinite();
        if (!options_.force) CheckFrequencies();
        if (kind != Kind::Calibration) return;
        file_.serialNumber = header_.Calibration().SerialNumber();
        file_.sensitivity = header_.Calibration().Sensitivity();
    }

    // Refuses what is no response although it looks like one.
    void CheckQuantity() {
        if (header_.NamesImpedance() || LowerExtension(path_) == ".zma")
            Refuse("levels in dB (--as data keeps other quantities)", "an impedance");
        if (header_.NamesKilohertz()) Refuse("frequencies in Hz", "kHz in " + Quoted(header_.ColumnNames()));
        if (const std::string_view other = header_.NamesOther(); !other.empty() && options_.columns.empty())
            Refuse("levels in dB and phases in degrees (--as data keeps other quantities, --columns chooses columns)",
                   std::string(other) + " in " + Quoted(header_.ColumnNames()));
        if (options_.columns.empty() && chosen_.size() == 3 && CountsRows())
            Refuse(
                "frequencies in the first column",
                "numbers that count the rows; --columns 2,3 leaves them out, --columns 1,2,3 takes them as they are");
    }

    // Whether the first two columns could be one in every line: "1 500 70" for 1500 Hz, with the separator between
    // thousands.
    bool MayBeGrouped() {
        if (chosen_.size() != 3 || form_.layout.syntax.separator == ';') return false;
        lines_.Rewind();
        float previous = 0;
        for (Row row; lines_.NextNumbers();) {
            ReadRow(lines_.Text(), form_.layout.syntax, row);
            const auto isDigits = [](std::string_view field) { return std::ranges::all_of(field, IsDigit); };
            const char* const end = row.fields[0].data() + row.fields[0].size();
            const bool areBeside = row.fields[1].data() == end + 1 && *end != '\t';
            const bool isThousands = isDigits(row.fields[0]) && row.fields[0].size() <= 3 && row.values[0] > 0;
            const float frequency = 1000 * row.values[0] + row.values[1];
            if (!areBeside || !isThousands || row.fields[1].size() != 3 || !isDigits(row.fields[1])) return false;
            if (!(frequency > std::exchange(previous, frequency))) return false;
        }
        return true;
    }

    // Whether the first column counts 1, 2, 3 (or from 0) and the second one rises as frequencies do.
    bool CountsRows() {
        lines_.Rewind();
        float start = 0, previous = 0;
        Row row;
        std::size_t at = 0;
        for (; lines_.NextNumbers(); ++at) {
            ReadRow(lines_.Text(), form_.layout.syntax, row);
            if (at == 0) start = row.values[0];
            const bool counts = (start == 0 || start == 1) && row.values[0] == start + static_cast<float>(at);
            if (!counts || !(row.values[1] > previous)) return false;
            previous = row.values[1];
        }
        return at > 1;
    }

    void CheckFrequencies() {
        for (std::size_t row = 0; row < file_.rows; ++row) {
            const float frequency = file_.values[row];
            const float before = row == 0 ? 0 : file_.values[row - 1];
            if (frequency > before) continue;
            throw FileError(path_, LineOf(row),
                            (frequency <= 0 ? std::string("a frequency above 0 Hz")
                                            : "a frequency above the " + NumberText(before) + " Hz before it") +
                                " (--force takes it as it is, --as says what else the file is)",
                            NumberText(frequency));
        }
    }

    void ReadImpulse() {
        std::optional<StatedNumber> interval = header_.Interval();
        if (header_.Start()) file_.startTime = header_.Start()->value;
        const std::optional<double> stated = StatedInterval();
        std::vector<std::size_t> channels = chosen_;
        if (channels.size() > 1 && channels.size() != header_.Channels() && !(stated && !FirstColumnSteps(*stated))) {
            const TimeColumn times = Times();
            if (times.Rows() > 1) interval = TakeTimes(times);
            channels.erase(channels.begin());
        }
        TakeColumns(channels);
        chosen_ = channels;
        CheckFinite();
        if (header_.Loudspeakers().size() == file_.columns) file_.loudspeakers = header_.Loudspeakers();
        file_.sampleRate = options_.sampleRate;
        const bool isWhole = header_.Rate() && header_.Rate()->value > 0 && header_.Rate()->value < 1e9 &&
                             header_.Rate()->value == std::floor(header_.Rate()->value);
        if (file_.sampleRate == 0 && isWhole) file_.sampleRate = static_cast<std::int32_t>(header_.Rate()->value);
        if (file_.sampleRate == 0) file_.sampleRate = RateFrom(interval);
        if (header_.Length() && *header_.Length() != file_.rows)
            throw FileError(path_, 0, std::to_string(*header_.Length()) + " samples, as the header says",
                            std::to_string(file_.rows));
    }

    // Seconds between two samples, as the user or else the header says.
    std::optional<double> StatedInterval() const {
        if (options_.sampleRate > 0) return 1.0 / options_.sampleRate;
        if (header_.Interval()) return header_.Interval()->value;
        if (header_.Rate() && header_.Rate()->value > 0) return 1 / header_.Rate()->value;
        return std::nullopt;
    }

    // Whether the first column is the time besides a header that states the interval.
    bool FirstColumnSteps(double interval) {
        const TimeColumn times = Times();
        if (times.Rows() < 2 || times.UnevenRow()) return false;
        const double step = times.Step().value * header_.NamesTime().value_or(1);
        return std::abs(step / interval - 1) < 0.01;
    }

    StatedNumber TakeTimes(const TimeColumn& times) {
        if (const auto uneven = times.UnevenRow()) {
            const std::size_t line = LineOf(*uneven);
            throw FileError(path_, line, "times at an even step of " + NumberText(times.Step().value),
                            Quoted(lines_.Text()));
        }
        const double unit = header_.NamesTime().value_or(1);
        StatedNumber step = times.Step();
        step = {step.value * unit, step.uncertainty * unit};
        if (!(step.value > 0)) Refuse("times that rise", NumberText(times.First()) + " and what follows");
        file_.startTime = times.First() * unit;
        return step;
    }

    std::int32_t RateFrom(const std::optional<StatedNumber>& interval) const {
        if (!interval)
            Refuse("a sample interval or rate in the header, or times in the first column (else --rate HZ says it)",
                   Columns());
        if (const auto rate = SampleRateOf(*interval)) return *rate;
        Refuse("an interval of a whole number of samples per second (else --rate HZ says it)",
               NumberText(interval->value) + " s, which is " + NumberText(1 / interval->value) + " Hz");
    }

    const std::filesystem::path& path_;
    const ReadOptions& options_;
    TableLines lines_;
    TableForm form_;
    const TextHeader& header_;
    std::vector<std::size_t> chosen_;  // columns of the file, from 0
    MeasurementFile file_;
};

}  // namespace

MeasurementFile ReadText(const std::filesystem::path& path, std::istream& in, const ReadOptions& options) {
    return TextTable(path, in, options).Read();
}

}  // namespace lumvex::app
