// The options that a correction and a crossover design share: tables and settings that constrain the design.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "command_line/command.hpp"
#include "files/text_table.hpp"
#include "measurements/named_data.hpp"
#include "measurements/settings.hpp"

namespace lumvex::app {

struct DesignOptions {
    std::filesystem::path limits;
    std::vector<std::string> crossovers;  // "2200:24"
    std::vector<std::string> settings;    // "MagTol=0.5"
};

// The options of a command that takes such a design; their values go into `options`.
Option LimitsOption(DesignOptions& options);
Option CrossoverOption(DesignOptions& options);

// "--set NAME=VALUE": assignments to settings.
Option SetOption(std::vector<std::string>& assignments, const Settings& settings);

std::string DesignHelp();

// The tables as arrays of two dimensions: each column is an entry and holds its values. Empty where the option is not
// given. Both throw FileError for a table that cannot be read.
Array LimitTable(const DesignOptions& options);
Array CrossoverTable(const DesignOptions& options);

template <class Item>
void PutTables(const DesignOptions& options, Item& item) {
    if (const Array limits = LimitTable(options); !limits.Empty()) item.LimitData(limits);
    if (const Array crossovers = CrossoverTable(options); !crossovers.Empty()) item.CrossoverData(crossovers);
}

}  // namespace lumvex::app
