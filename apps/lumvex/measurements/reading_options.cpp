#include "measurements/reading_options.hpp"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <iterator>

#include "files/text_encoding.hpp"
#include "measurements/piped_input.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

// The whole numbers above 0 in "1,2,5"; nothing for any other text.
std::optional<std::vector<std::size_t>> WholeNumbers(const std::string& text) {
    std::vector<std::size_t> numbers;
    const char* at = text.data();
    const char* const last = at + text.size();
    while (true) {
        std::size_t number = 0;
        const auto [end, error] = std::from_chars(at, last, number);
        if (error != std::errc{} || number == 0) return std::nullopt;
        numbers.push_back(number);
        if (end == last) return numbers;
        if (*end != ',') return std::nullopt;
        at = end + 1;
    }
}

std::string ProblemOfColumns(const std::string& text) {
    return WholeNumbers(text) ? "" : "columns are numbers from 1 between commas, such as 1,2,5";
}

constexpr std::string_view kPlaceholders[] = {"{folder}", "{name}", "{extension}"};

// Puts the parts of the path in the place of the placeholders.
std::string NameFrom(const std::string& pattern, const fs::path& path, const std::string& stem) {
    std::error_code ignored;
    const std::string extension = Utf8(path.extension());
    const std::string parts[] = {Utf8(fs::absolute(path, ignored).parent_path().filename()), stem,
                                 extension.empty() ? extension : extension.substr(1)};
    std::string name;
    for (std::size_t at = 0; at < pattern.size();) {
        std::size_t taken = 0;
        for (std::size_t which = 0; which < std::size(kPlaceholders) && taken == 0; ++which) {
            if (pattern.compare(at, kPlaceholders[which].size(), kPlaceholders[which]) != 0) continue;
            name += parts[which];
            taken = kPlaceholders[which].size();
        }
        if (taken == 0) name += pattern[at];
        at += std::max<std::size_t>(taken, 1);
    }
    return name;
}

MeasurementFile ReadPiped(const fs::path& path, const ReadOptions& options) {
    MeasurementFile file = ReadMeasurement(path, PipedInput(path), options);
    file.name = IsStandardInput(path) ? "stdin" : Utf8(path.stem());
    file.modified = std::time(nullptr);
    return file;
}

}  // namespace

std::string ProblemOfRate(const std::string& text) {
    constexpr std::size_t kFastest = 1'000'000'000;
    const auto numbers = WholeNumbers(text);
    return numbers && numbers->size() == 1 && numbers->front() <= kFastest ? ""
                                                                           : "a sample rate is a whole number in Hz";
}

std::vector<Option> ReadingOptions(ReadingArguments& arguments) {
    return {{"--as",
             &arguments.as,
             {.shown = "KIND", .choices = {"response", "calibration", "impulse", "data"}},
             "what text files hold, where their content does not tell"},
            {"--columns",
             &arguments.columns,
             {"1,2,5", &ProblemOfColumns},
             "the columns of text files to take, in this order"},
            {"--decimal",
             &arguments.decimal,
             {.shown = "MARK", .choices = {"point", "comma"}},
             "the decimal mark of text files that do not show it"},
            {"--rate", &arguments.rate, {"HZ", &ProblemOfRate}, "the sample rate of impulse responses as text"},
            {"--force", &arguments.force, {}, "take frequencies that do not rise or are not above 0"},
            {"--name", &arguments.name, kName,
             "the name in the document instead of the file's; {folder}, {name} and {extension} are those of each file"},
            {"--prefix", &arguments.prefix, kName, "what each name begins with"}};
}

const char* const kReadingHelp =
    "A text file (.frd, .txt, .csv and others) holds a frequency response or a microphone calibration: frequency\n"
    "in Hz, which rises, level in dB and perhaps phase in degrees. Or it holds an impulse response: one value in each\n"
    "line below a header that states the sample interval or rate, and perhaps the start time; or pairs of time and\n"
    "amplitude at an even step. --as data takes any columns of numbers as they are. A sound file (.wav, .flac and\n"
    "others) holds an impulse response: one column per channel, full scale -1 to 1, and the sample rate in Hz. - is\n"
    "standard input, and pipes are read as well.\n"
    "\n"
    "Numbers may have decimal points or commas and groups of thousands; what could be read in two ways is refused\n"
    "unless another line tells or --decimal says it. Impedances and other quantities, and columns that count rows, "
    "are\n"
    "refused as responses.\n"
    "What is rounded (samples of more than 32-bit floats hold), was compressed with loss or is left out is told on\n"
    "standard error.\n";

ReadOptions ReadOptionsOf(const ReadingArguments& arguments) {
    using ReadAs = MeasurementFile::Kind;
    ReadOptions options;
    if (arguments.as == "response") options.as = ReadAs::Response;
    if (arguments.as == "calibration") options.as = ReadAs::Calibration;
    if (arguments.as == "impulse") options.as = ReadAs::Impulse;
    if (arguments.as == "data") options.as = ReadAs::Data;
    if (!arguments.columns.empty()) options.columns = *WholeNumbers(arguments.columns);
    if (!arguments.decimal.empty()) options.decimalMark = arguments.decimal == "point" ? '.' : ',';
    if (!arguments.rate.empty()) options.sampleRate = static_cast<std::int32_t>(WholeNumbers(arguments.rate)->front());
    options.force = arguments.force;
    return options;
}

std::string ProblemOfNames(const ReadingArguments& arguments, std::size_t files) {
    const bool varies = std::ranges::any_of(
        kPlaceholders, [&](std::string_view each) { return arguments.name.find(each) != std::string::npos; });
    if (files < 2 || arguments.name.empty() || varies) return {};
    return "--name gives several files one name; {folder}, {name} or {extension} in it tells them apart";
}

MeasurementFile ReadNamed(const fs::path& path, const ReadingArguments& arguments) {
    const ReadOptions options = ReadOptionsOf(arguments);
    MeasurementFile file = IsPiped(path) ? ReadPiped(path, options) : ReadMeasurementFile(path, options);
    file.isNamed = !arguments.name.empty();
    if (file.isNamed) file.name = NameFrom(arguments.name, path, file.name);
    file.name = arguments.prefix + file.name;
    if (file.name.empty()) throw FileError(path, "its name would be empty");
    return file;
}

}  // namespace lumvex::app
