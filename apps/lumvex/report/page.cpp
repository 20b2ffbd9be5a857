#include "report/page.hpp"

#include <fstream>
#include <initializer_list>

#include "files/file_error.hpp"
#include "files/replaced_file.hpp"
#include "files/text_encoding.hpp"
#include "report/content.hpp"
#include "report/page_parts.hpp"

namespace lumvex::app {

namespace {

namespace fs = std::filesystem;
using page_parts::Script;

std::string HtmlText(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '&')
            escaped += "&amp;";
        else if (c == '<')
            escaped += "&lt;";
        else if (c == '>')
            escaped += "&gt;";
        else if (c == '"')
            escaped += "&quot;";
        else
            escaped += c;
    }
    return escaped;
}

// JSON inside of a script element: nothing in it can end the element.
std::string JsonInScript(const nlohmann::ordered_json& json) {
    std::string safe;
    for (const char c : json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace))
        c == '<' ? safe += "\\u003c" : safe += c;
    return safe;
}

std::string Hashes(std::initializer_list<Script> scripts) {
    std::string hashes;
    for (const Script& script : scripts) hashes += " '" + std::string(script.hash) + "'";
    return hashes;
}

void WriteElement(std::ostream& out, std::string_view tag, const Script& script) {
    out << '<' << tag << '>' << script.text << "</" << tag << ">\n";
}

}  // namespace

ReportResult WriteReport(const ReportOptions& options, const fs::path& file) {
    using namespace page_parts;
    ReplacedFile replaced(file);
    ReportResult result;
    {
        std::ofstream out(replaced.Temporary(), std::ios::binary);
        std::string title;
        for (const fs::path& document : options.documents)
            title += (title.empty() ? "" : ", ") + Utf8(document.filename());
        out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
            << "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; script-src"
            << Hashes({kChartLibrary, kBlocks, kCharts, kPage}) << "; style-src" << Hashes({kChartStyle, kStyle})
            << "; img-src data: blob:; base-uri 'none'; form-action 'none'\">\n"
            << "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
            << "<meta name=\"generator\" content=\"lumvex " << LUMVEX_TOOL_VERSION << "\">\n"
            << "<title>" << HtmlText(title) << "</title>\n";
        WriteElement(out, "style", kChartStyle);
        WriteElement(out, "style", kStyle);
        out << "</head>\n<body>\n" << kBody;
        ReportContent content([&](std::size_t number, const std::string& text) {
            out << "<script type=\"application/octet-stream\" id=\"block" << number << "\">" << text << "</script>\n";
        });
        for (const fs::path& document : options.documents) content.Add(document, options.calibration);
        out << "<script type=\"application/json\" id=\"content\">" << JsonInScript(content.Finish()) << "</script>\n";
        out << "<script type=\"text/plain\" id=\"licence\">" << kLicence << "</script>\n";
        WriteElement(out, "script", kChartLibrary);
        WriteElement(out, "script", kBlocks);
        WriteElement(out, "script", kCharts);
        WriteElement(out, "script", kPage);
        out << "</body>\n</html>\n";
        if (!out.flush()) throw FileError(file, "it could not be written completely");
        result = {content.Objects(), content.Blocks(), content.Unreadable(), {}};
        if (!replaced.IsDevice()) result.bytes = static_cast<std::uintmax_t>(out.tellp());
    }
    replaced.Commit();
    return result;
}

}  // namespace lumvex::app
