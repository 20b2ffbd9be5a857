// The parts of the page that are the same in every report. The build makes them from page/ and from the chart library.
#pragma once

#include <string_view>

namespace lumvex::app::page_parts {

struct Script {
    std::string_view text;
    std::string_view hash;  // "sha256-...", as content security policies write it
};

extern const Script kChartLibrary, kBlocks, kCharts, kPage;
extern const Script kChartStyle, kStyle;
extern const std::string_view kBody;     // the elements of the page
extern const std::string_view kLicence;  // of the chart library

}  // namespace lumvex::app::page_parts
