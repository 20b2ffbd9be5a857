#include <algorithm>
#include <functional>
#include <iostream>
#include <memory>
#include <system_error>

#include "arguments.hpp"
#include "commands.hpp"
#include "document.hpp"
#include "files/text_encoding.hpp"
#include "lumvex/diagnostics.hpp"
#include "named_data.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

struct Arguments {
    fs::path document;
    std::string name;
    fs::path file;
    bool force = false;
};

// A datum is named by its ID only where that is unmistakable: a name comes first.
Datum FindDatum(const Project& project, std::u16string_view wanted) {
    if (Datum found = NamedData(project.Data()).Find(wanted)) return found;
    return ParseGuid(wanted) ? project.Load(wanted).As<Datum>() : Datum();
}

// Do the values rise from each to the next, as the frequencies of a response do?
bool Rise(std::span<const float> values) {
    return std::adjacent_find(values.begin(), values.end(), std::greater_equal<>()) == values.end();
}

// Clients need not set a sample rate, and every new datum has one: a response is also told by its frequencies.
MeasurementFile FileOf(const Datum& datum, const fs::path& path) {
    const Array array = NumbersOf(datum);
    MeasurementFile file;
    file.rows = array.Rows();
    file.columns = array.Columns();
    const std::span<const float> values = array.Values<float>();
    file.values.assign(values.begin(), values.end());
    file.sampleRate = datum.SampleRate();
    const bool isSound = LowerExtension(path) == ".wav";
    const bool isResponse = file.sampleRate == 0 || Rise(values.first(file.rows));
    file.kind = isSound || !isResponse ? MeasurementFile::Kind::Impulse : MeasurementFile::Kind::Response;
    return file;
}

ExitStatus Run(const Arguments& arguments) {
    const Project project = OpenProject(arguments.document, LX_SHARE_READ);
    std::error_code ignored;
    if (!arguments.force && fs::exists(fs::symlink_status(arguments.file, ignored)))
        throw FileError(arguments.file, "the file exists already; --force replaces it");
    return OnDocument(arguments.document, "cannot be read", [&] {
        const Datum datum = FindDatum(project, FromUtf8(arguments.name));
        if (!datum) {
            std::cerr << Utf8(arguments.document) << ": there is no datum named " << Quoted(arguments.name) << '\n';
            return kIncomplete;
        }
        const MeasurementFile file = FileOf(datum, arguments.file);
        WriteMeasurementFile(arguments.file, file);
        std::cout << Shown(datum.Name()) << ": " << ShapeText(file.rows, file.columns) << " written to "
                  << Utf8(arguments.file) << '\n';
        return kDone;
    });
}

}  // namespace

void AddExport(CLI::App& app, Command& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand("export", "Write a named array of a project into a measurement file");
    AddDocument(*command, arguments->document, "the project; opened for reading only");
    command
        ->add_option("NAME", arguments->name,
                     "name of the datum, regardless of case (of several the first), or its ID in braces")
        ->type_name("")
        ->required();
    command->add_option("-o,--output", arguments->file, "the file to write; its extension says the format")
        ->type_name("FILE")
        ->required();
    command->add_flag("--force", arguments->force, "replace FILE when it exists; without it that is refused");
    command->footer(
        "Formats: .frd and .txt (columns between tabs) and .csv (commas) for frequency responses of two or three\n"
        "columns, frequency in Hz, level in dB and perhaps phase in degrees; .wav (32-bit float, one channel per\n"
        "column, the datum's sample rate in Hz) for impulse responses. A datum with a sample rate is written as text\n"
        "only when its first column rises as frequencies do. Importing the file again gives the same bits.\n"
        "FILE is written completely or not at all.\n\n" +
        ExitStatusHelp("there is no such datum, or FILE could not be written"));
    command->callback([arguments, &chosen] { chosen = [arguments] { return Run(*arguments); }; });
}

}  // namespace lumvex::app
