#include "design_options.hpp"

#include "arguments.hpp"
#include "files/file_error.hpp"

namespace lumvex::app {

namespace {

// In the order of LXArrayIndex.
const std::vector<std::string> kLimitColumns = {"frequency", "alpha", "maximum", "minimum", "type"};
static_assert(LX_LIMITFREQ == 0 && LX_LIMITALPHA == 1 && LX_LIMITMAX == 2 && LX_LIMITMIN == 3 && LX_LIMITTYPE == 4);
static_assert(LX_XOVERFREQ == 0 && LX_XOVERSLOPE == 1);

// "2200:24" appended as frequency and slope; false: it is something else.
bool ReadCrossover(const std::string& text, std::vector<float>& values) {
    const std::size_t colon = text.find(':');
    return colon != text.npos && ReadNumber(text.substr(0, colon), values.emplace_back()) &&
           ReadNumber(text.substr(colon + 1), values.emplace_back());
}

std::string Refused(bool isEmpty) { return isEmpty ? "a name is empty" : ""; }

template <class Value>
CLI::Option* AddRepeated(CLI::App& command, const std::string& option, std::vector<Value>& values,
                         const std::string& help) {
    return command.add_option(option, values, help)->expected(1)->take_all()->allow_extra_args(false);
}

}  // namespace

CLI::Option* AddName(CLI::App& command, const std::string& option, std::string& name, const std::string& help) {
    return command.add_option(option, name, help)->type_name("NAME")->check([](const std::string& text) {
        return Refused(text.empty());
    });
}

CLI::Option* AddNames(CLI::App& command, const std::string& option, std::vector<std::string>& names,
                      const std::string& help) {
    return AddRepeated(command, option, names, help + "; repeatable")
        ->type_name("NAME")
        ->check([](const std::string& text) { return Refused(text.empty()); });
}

CLI::Option* AddFiles(CLI::App& command, const std::string& option, std::vector<std::filesystem::path>& files,
                      const std::string& help) {
    return AddPaths(command, option, files, help + "; repeated for mono files")
        ->expected(1)
        ->take_all()
        ->allow_extra_args(false)
        ->type_name("FILE");
}

CLI::Option* AddSettings(CLI::App& command, std::vector<std::string>& settings,
                         std::string (*problemOf)(std::string_view)) {
    return AddRepeated(command, "--set", settings, "a setting, as listed below; repeatable")
        ->type_name("NAME=VALUE")
        ->check([problemOf](const std::string& text) { return problemOf(text); });
}

void AddTables(CLI::App& command, DesignOptions& options) {
    AddPath(command, "--limits", options.limits, "the table of limits")->type_name("TABLE");
    AddRepeated(command, "--crossover", options.crossovers,
                "a crossover: frequency in Hz and slope in dB/oct; repeatable")
        ->type_name("HZ:SLOPE")
        ->check([](const std::string& text) {
            std::vector<float> ignored;
            return ReadCrossover(text, ignored) ? "" : "a crossover is a frequency and a slope, such as 2200:24";
        });
}

std::string DesignHelp() {
    return "A table of limits is text, with five numbers in each line (frequency, alpha, maximum, minimum, type) "
           "between\n"
           "commas or semicolons; a first line of these words is a header. Limits and crossovers that are given take\n"
           "the place of all that are there.\n\n";
}

Array LimitTable(const DesignOptions& options) {
    if (options.limits.empty()) return {};
    const std::vector<float> values = ReadNumbers(options.limits, kLimitColumns);
    return InTwoDimensions(values, LX_LIMITSIZE);
}

Array CrossoverTable(const DesignOptions& options) {
    std::vector<float> values;
    for (const std::string& crossover : options.crossovers) ReadCrossover(crossover, values);
    return values.empty() ? Array() : InTwoDimensions(values, LX_XOVERSIZE);
}

}  // namespace lumvex::app
