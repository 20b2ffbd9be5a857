#include <iostream>
#include <memory>
#include <system_error>

#include "command_line/run_options.hpp"
#include "commands/commands.hpp"
#include "documents/document.hpp"
#include "files/file_error.hpp"
#include "files/replaced_file.hpp"
#include "files/text_encoding.hpp"
#include "report/page.hpp"

namespace lumvex::app {

namespace {

namespace fs = std::filesystem;

struct ReportArguments {
    std::vector<fs::path> documents;
    fs::path file, calibration;
    bool force = false;
};

ExitStatus RunReport(const ReportArguments& arguments) {
    CheckMayWrite(arguments.file, arguments.force);
    ReportOptions options{.documents = arguments.documents};
    if (!arguments.calibration.empty()) options.calibration = ReadCalibration(arguments.calibration);
    const ReportResult result = WriteReport(options, arguments.file);
    Reports() << Utf8(arguments.file) << ": " << result.objects << " objects, " << result.curves << " traces"
              << (result.bytes ? ", " + std::to_string(*result.bytes) + " bytes" : "") << '\n';
    if (result.unreadable == 0) return kDone;
    std::cerr << result.unreadable << (result.unreadable == 1 ? " object" : " objects")
              << " could not be read; the report says which\n";
    return kDocumentFailed;
}

}  // namespace

Command commands::Report() {
    const auto arguments = std::make_shared<ReportArguments>();
    return {
        .name = "report",
        .summary = "Make a page of documents, with curves, for any browser",
        .options =
            {{"DOC",
              &arguments->documents,
              kShown,
              "the projects and libraries, side by side; opened for reading only",
              {.required = true}},
             {"-o,--output", &arguments->file, kFile, "the page to write, an HTML file", {.required = true}},
             {"--calibration", &arguments->calibration, kFile,
              "the response of the microphone, a text file of frequencies and levels; it is taken out of the levels "
              "of\nall measurements of speakers and rooms"},
             {"--force", &arguments->force, {}, "replace FILE when it exists; without it that is refused"}},
        .details =
            "The page is one file that needs no network: a tree of all objects with search, every property with its "
            "unit and\n"
            "meaning, and curves of all that can be drawn: impulse and step response, level with smoothing, phase, "
            "group\n"
            "delay, energy decay with reverberation times, cumulative decay; before and after correction, limits, "
            "crossovers,\n"
            "the stages of processor profiles. Each curve says how it was computed. The same documents make the same "
            "bytes.\n"
            "FILE#ADDRESS in the browser opens the page at an object: report.html#Left/Bi amp.\n"
            "FILE is written completely or not at all.",
        .incomplete = "FILE exists already or could not be written",
        .run = [arguments] { return RunReport(*arguments); }};
}

}  // namespace lumvex::app
