#include "objects/design_tables.hpp"

#include <algorithm>
#include <cmath>

namespace lumvex::app {

namespace {

const DesignTable kTables[] = {{"LimitData", {"frequency", "alpha", "maximum", "minimum", "type"}},
                               {"CrossoverData", {"frequency", "slope"}},
                               {"EqualiserData", {"frequency", "alpha", "gain"}}};
enum Place { kLimits, kCrossovers };
static_assert(LX_LIMITFREQ == 0 && LX_LIMITALPHA == 1 && LX_LIMITMAX == 2 && LX_LIMITMIN == 3 && LX_LIMITTYPE == 4);
static_assert(LX_XOVERFREQ == 0 && LX_XOVERSLOPE == 1);
static_assert(LX_EQFREQ == 0 && LX_EQALPHA == 1 && LX_EQGAIN == 2);

std::string ProblemOfLimit(std::span<const float> limit, std::span<const float> before) {
    if (!before.empty() && !(limit[LX_LIMITFREQ] > before[LX_LIMITFREQ])) return "a frequency above the one before";
    if (!(limit[LX_LIMITMAX] > limit[LX_LIMITMIN])) return "a maximum above the minimum";
    const float type = limit[LX_LIMITTYPE];
    return type >= 0 && type == std::floor(type) ? "" : "a type that is a whole number";
}

}  // namespace

const DesignTable* FindDesignTable(std::string_view property) {
    const DesignTable* found = std::ranges::find(kTables, property, &DesignTable::property);
    return found == std::end(kTables) ? nullptr : found;
}

std::string ProblemOfEntry(const DesignTable& table, std::span<const float> entry, std::span<const float> before) {
    if (!(entry[0] > 0)) return "a frequency above 0";
    if (&table == &kTables[kLimits]) return ProblemOfLimit(entry, before);
    return &table != &kTables[kCrossovers] || entry[LX_XOVERSLOPE] > 0 ? "" : "a slope above 0";
}

std::string ProblemOfTable(const DesignTable& table, const Array& array) {
    const std::size_t size = table.values.size();
    if (array.Empty()) return {};
    if (array.Rows() != size) {
        std::string names;
        for (const std::string& each : table.values) names += (names.empty() ? "" : ", ") + each;
        return "a column of " + std::to_string(size) + " numbers for each entry (" + names + ')';
    }
    std::vector<float> entry(size), before;
    for (std::size_t column = 0; column < array.Columns(); ++column) {
        for (std::size_t row = 0; row < size; ++row) entry[row] = static_cast<float>(array(row, column));
        if (const std::string problem = ProblemOfEntry(table, entry, before); !problem.empty())
            return "in column " + std::to_string(column + 1) + ' ' + problem;
        before = entry;
    }
    return {};
}

}  // namespace lumvex::app
