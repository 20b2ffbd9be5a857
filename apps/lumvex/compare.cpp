#include <bit>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <vector>

#include "arguments.hpp"
#include "commands.hpp"
#include "document.hpp"
#include "files/text_encoding.hpp"
#include "lumvex/diagnostics.hpp"
#include "named_data.hpp"
#include "progress_line.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

struct Arguments {
    fs::path document;
    std::vector<fs::path> files;
};

std::uint32_t BitsOf(float value) { return std::bit_cast<std::uint32_t>(value); }

// The first difference in words; none where every bit is the same.
std::optional<std::string> DifferenceOf(const MeasurementFile& file, const Datum& datum) {
    std::ostringstream words;
    words.precision(9);  // tells any two floats apart
    const auto differs = [&](const auto& inDocument, const auto& inFile) {
        words << inDocument << " in the document, " << inFile << " in the file";
        return words.str();
    };
    const Array array = NumbersOf(datum.Data());
    if (array.Rows() != file.rows || array.Columns() != file.columns)
        return differs(ShapeText(array.Rows(), array.Columns()), ShapeText(file.rows, file.columns));
    if (datum.SampleRate() != file.sampleRate)
        return differs(std::to_string(datum.SampleRate()) + " Hz", std::to_string(file.sampleRate) + " Hz");
    const std::span<const float> values = array.Values<float>();
    for (std::size_t index = 0; index < values.size(); ++index) {
        if (BitsOf(values[index]) == BitsOf(file.values[index])) continue;
        words << "row " << index % file.rows + 1 << ", column " << index / file.rows + 1 << ": ";
        return differs(values[index], file.values[index]);
    }
    return std::nullopt;
}

ExitStatus Run(const Arguments& arguments) {
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

void AddCompare(CLI::App& app, Command& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand("compare", "Compare measurement files with the data of a project");
    AddDocument(*command, arguments->document, "the project; opened for reading only");
    command->add_option("FILE", arguments->files, "measurement files, as for import")->type_name("")->required();
    command->footer(
        "Each file is compared with the datum of its name (regardless of case): rows, columns, sample rate in Hz and\n"
        "every value, bit for bit. Data are loaded as they are looked for. The last line says how many files are the\n"
        "same, how many objects were loaded and how many bytes of the document were read, in whole sectors.\n\n" +
        ExitStatusHelp("a file differs, could not be read, or the document has no datum of its name"));
    command->callback([arguments, &chosen] { chosen = [arguments] { return Run(*arguments); }; });
}

}  // namespace lumvex::app
