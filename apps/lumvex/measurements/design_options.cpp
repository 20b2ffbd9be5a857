#include "measurements/design_options.hpp"

#include <span>

#include "files/file_error.hpp"
#include "objects/design_tables.hpp"

namespace lumvex::app {

namespace {

// Appends the frequency and the slope of "2200:24" to the values. Returns false for any other text.
bool ReadCrossover(const std::string& text, std::vector<float>& values) {
    const std::size_t colon = text.find(':');
    return colon != text.npos && ReadNumber(text.substr(0, colon), values.emplace_back()) &&
           ReadNumber(text.substr(colon + 1), values.emplace_back());
}

std::string ProblemOfCrossover(const std::string& text) {
    std::vector<float> values;
    if (text.find(',') != text.npos)  // "1,000" is 1 or 1000
        return "a crossover has numbers with a decimal point, such as 2200.5:24";
    if (!ReadCrossover(text, values)) return "a crossover is a frequency and a slope, such as 2200:24";
    return ProblemOfEntry(*FindDesignTable("CrossoverData"), values, {}).empty()
               ? ""
               : "frequency and slope of a crossover are above 0";
}

}  // namespace

Option LimitsOption(DesignOptions& options) { return {"--limits", &options.limits, {"TABLE"}, "the table of limits"}; }

Option CrossoverOption(DesignOptions& options) {
    return {"--crossover",
            &options.crossovers,
            {"HZ:SLOPE", &ProblemOfCrossover},
            "a crossover: frequency in Hz and slope in dB/oct; repeatable"};
}

Option SetOption(std::vector<std::string>& assignments, const Settings& settings) {
    const auto problemOf = [settings](const std::string& text) { return settings.ProblemOf(text); };
    return {"--set", &assignments, {"NAME=VALUE", problemOf}, "a setting, as listed below; repeatable"};
}

std::string DesignHelp() {
    return "A table of limits is text, with five numbers in each line (frequency, alpha, maximum, minimum, type) "
           "between\n"
           "commas, semicolons or tabs; a first line of these words is a header. Frequencies rise, and each maximum is "
           "above its\n"
           "minimum. Limits and crossovers that are given take the place of all that are there.\n\n";
}

Array LimitTable(const DesignOptions& options) {
    if (options.limits.empty()) return {};
    const DesignTable& table = *FindDesignTable("LimitData");
    const std::vector<float> values = ReadNumbers(
        options.limits, table.values, [&](auto limit, auto before) { return ProblemOfEntry(table, limit, before); });
    return InTwoDimensions(values, LX_LIMITSIZE);
}

Array CrossoverTable(const DesignOptions& options) {
    std::vector<float> values;
    for (const std::string& crossover : options.crossovers) ReadCrossover(crossover, values);
    return values.empty() ? Array() : InTwoDimensions(values, LX_XOVERSIZE);
}

}  // namespace lumvex::app
