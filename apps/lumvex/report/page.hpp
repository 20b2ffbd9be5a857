// The page of a report: one HTML file that needs nothing but a browser.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "report/calibration.hpp"

namespace lumvex::app {

struct ReportOptions {
    std::vector<std::filesystem::path> documents;  // at least one
    std::optional<Calibration> calibration = {};
};

struct ReportResult {
    std::size_t objects = 0, curves = 0, unreadable = 0;
    std::optional<std::uintmax_t> bytes = {};  // of the file; none of a device or pipe
};

// Writes the page, completely or not at all. Throws DocumentError, FileError.
ReportResult WriteReport(const ReportOptions& options, const std::filesystem::path& file);

}  // namespace lumvex::app
