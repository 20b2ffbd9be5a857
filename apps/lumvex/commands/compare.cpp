#include <iostream>
#include <memory>
#include <vector>

#include "commands.hpp"
#include "document.hpp"
#include "files/text_encoding.hpp"
#include "lumvex/diagnostics.hpp"
#include "named_data.hpp"
#include "progress_line.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

struct CompareArguments {
    fs::path document;
    std::vector<fs::path> files;
};

ExitStatus RunCompare(const CompareArguments& arguments) {
    const Project project = OpenProject(arguments.document, LX_SHARE_READ);
    ProgressLine progress("comparing file");
    std::size_t started = 0, same = 0;
    OnDocument(arguments.document, "cannot be read", [&] {
        NamedData names(project.Data());
        for (const fs::path& path : arguments.files) {
            progress.Show(++started, arguments.files.size());
            try {
                const MeasurementFile file = ReadMeasurementFile(path);
                const Datum datum = names.Find(FromUtf8(file.name));
                if (!datum) throw FileError(path, "the document has no datum named " + Quoted(file.name));
                const auto difference = DifferenceOf(file, datum);
                progress.Clear();
                std::cout << Shown(datum.Name()) << ": " << (difference ? "differs: " + *difference : "the same")
                          << (difference ? "" : ", " + ShapeText(file.rows, file.columns)) << '\n';
                if (!difference) ++same;
            } catch (const FileError& error) {
                progress.Clear();
                std::cerr << error.what() << '\n';
            }
        }
    });
    const LoadStatistics statistics = StatisticsOf(project.Get());
    std::cout << same << " of " << arguments.files.size() << " files are the same bit for bit; "
              << statistics.objectsLoaded << " objects loaded, " << statistics.bytesRead << " bytes read\n";
    return same == arguments.files.size() ? kDone : kIncomplete;
}

}  // namespace

Command commands::Compare() {
    const auto arguments = std::make_shared<CompareArguments>();
    return {.name = "compare",
            .summary = "Compare measurement files with the data of a project",
            .options = {DocumentOption(arguments->document, "the project; opened for reading only"),
                        {"FILE", &arguments->files, kShown, "measurement files, as for import", {.required = true}}},
            .details =
                "Each file is compared with the datum of its name (regardless of case): rows, columns, sample rate in "
                "Hz and\n"
                "every value, bit for bit. Data are loaded as they are looked for. The last line says how many files "
                "are the\n"
                "same, how many objects were loaded and how many bytes of the document were read, in whole sectors.",
            .incomplete = "a file differs, could not be read, or the document has no datum of its name",
            .run = [arguments] { return RunCompare(*arguments); }};
}

}  // namespace lumvex::app
