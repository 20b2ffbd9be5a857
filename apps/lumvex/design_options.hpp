// What a correction and a crossover design share of their options: the tables and settings that constrain the design.
#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <string>
#include <vector>

#include "files/text_table.hpp"
#include "named_data.hpp"
#include "settings.hpp"

namespace lumvex::app {

struct DesignOptions {
    std::filesystem::path limits;
    std::vector<std::string> crossovers;  // "2200:24"
    std::vector<std::string> settings;    // "MagTol=0.5"
};

CLI::Option* AddName(CLI::App& command, const std::string& option, std::string& name, const std::string& help);

// Options that can be repeated, with one value each time, so that what follows is not taken for another value.
CLI::Option* AddFiles(CLI::App& command, const std::string& option, std::vector<std::filesystem::path>& files,
                      const std::string& help);
CLI::Option* AddNames(CLI::App& command, const std::string& option, std::vector<std::string>& names,
                      const std::string& help);
CLI::Option* AddSettings(CLI::App& command, std::vector<std::string>& settings,
                         std::string (*problemOf)(std::string_view));

void AddTables(CLI::App& command, DesignOptions& options);

template <class Item>
void AddDesignOptions(CLI::App& command, DesignOptions& options) {
    AddTables(command, options);
    AddSettings(command, options.settings, &ProblemOf<Item>);
}

std::string DesignHelp();

// The tables as arrays: the values of one entry side by side, an entry in each column. Empty where none is given. Throw
// FileError.
Array LimitTable(const DesignOptions& options);
Array CrossoverTable(const DesignOptions& options);

template <class Item>
void PutTables(const DesignOptions& options, Item& item) {
    if (const Array limits = LimitTable(options); !limits.Empty()) item.LimitData(limits);
    if (const Array crossovers = CrossoverTable(options); !crossovers.Empty()) item.CrossoverData(crossovers);
}

}  // namespace lumvex::app
