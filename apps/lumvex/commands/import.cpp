#include <algorithm>
#include <iostream>
#include <memory>
#include <span>
#include <sstream>
#include <vector>

#include "commands.hpp"
#include "destination.hpp"
#include "document.hpp"
#include "files/text_encoding.hpp"
#include "named_data.hpp"
#include "progress_line.hpp"
#include "run_options.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

struct ImportArguments {
    fs::path document;
    std::vector<fs::path> files;
    Placement placement;
};

std::string Report(const MeasurementFile& file) {
    std::ostringstream report;
    report << Shown(FromUtf8(file.name)) << ": " << ShapeText(file.rows, file.columns);
    if (file.kind == MeasurementFile::Kind::Impulse) report << ", " << file.sampleRate << " Hz";
    if (file.kind == MeasurementFile::Kind::Response && file.columns == ChannelCount(file))
        report << ", levels; the whole table is named data";
    if (file.kind == MeasurementFile::Kind::Calibration) report << ", calibration";
    if (file.sensitivity) report << ", sensitivity " << *file.sensitivity << " dB";
    if (file.serialNumber) report << ", serial number " << Shown(FromUtf8(*file.serialNumber));
    return report.str();
}

// One run of the command. Adds the files to the document in memory, one after the other, and saves it once.
class ImportRun {
public:
    explicit ImportRun(const ImportArguments& arguments)
        : arguments_(arguments),
          document_(arguments.document),
          destination_(OnDocument(arguments.document, "cannot be read",
                                  [&] { return MakeDestination(document_, arguments.placement); })) {}

    ExitStatus Run() {
        const std::size_t together = destination_->FilesTogether();
        if (together > 1 && together == arguments_.files.size()) {
            AddTogether();
        } else {
            for (const fs::path& path : arguments_.files) {
                Try([&] {
                    const InputFile file{path, Read(path)};
                    Add(std::span(&file, 1));
                });
            }
        }
        progress_.Clear();
        if (imported_ != 0) document_.Save("cannot be saved, nothing was imported");
        const std::string document = Utf8(arguments_.document);
        if (imported_ == 0) {
            std::cerr << document << ": nothing was imported; the document was not "
                      << (document_.IsNew() ? "created\n" : "changed\n");
        } else {
            Reports() << imported_ << " of " << arguments_.files.size() << " files imported into " << document << '\n';
        }
        return imported_ == arguments_.files.size() ? kDone : kIncomplete;
    }

private:
    template <class Work>
    decltype(auto) Inside(Work&& work) {
        return OnDocument(arguments_.document, "cannot be read", std::forward<Work>(work));
    }

    // Reports a file that fails, so that the others can follow.
    template <class Work>
    void Try(Work&& work) {
        try {
            work();
        } catch (const FileError& error) {
            progress_.Clear();
            std::cerr << error.what() << '\n';
        }
    }

    MeasurementFile Read(const fs::path& path) {
        progress_.Show(++started_, arguments_.files.size());
        return ReadMeasurementFile(path);
    }

    void Add(std::span<const InputFile> files) {
        const std::string report = Inside([&] { return Report(destination_->Add(files)); });
        imported_ += files.size();
        progress_.Clear();
        Reports() << report << '\n';
    }

    // Makes one measurement of mono files, a channel for each. If one of them cannot be read or is not mono, the others
    // are added as measurements of their own.
    void AddTogether() {
        std::vector<InputFile> files;
        for (const fs::path& path : arguments_.files) {
            Try([&] { files.push_back({path, Read(path)}); });
        }
        const bool areMono = std::ranges::all_of(files, [](const InputFile& file) {
            return file.content.kind != MeasurementFile::Kind::Calibration && ChannelCount(file.content) == 1;
        });
        if (areMono && files.size() == arguments_.files.size()) {
            Try([&] { Add(files); });
        } else {
            for (const InputFile& file : files) Try([&] { Add(std::span(&file, 1)); });
        }
    }

    const ImportArguments& arguments_;
    EditedDocument document_;
    std::unique_ptr<Destination> destination_;
    ProgressLine progress_{"reading file"};
    std::size_t started_ = 0, imported_ = 0;
};

}  // namespace

Command commands::Import() {
    const auto arguments = std::make_shared<ImportArguments>();
    Placement& placement = arguments->placement;
    return {
        .name = "import",
        .summary = "Import measurement files into a project or library",
        .use = DocumentUse::Makes,
        .options =
            {DocumentOption(arguments->document,
                            "the project (.lvp) or library (.lvs); created when there is no such file"),
             {"FILE", &arguments->files, kShown, "measurement files", {.required = true}},
             {"--replace",
              &placement.replace,
              {},
              "give what has a file's name already the file's content; without it such a file is refused"},
             {"--speaker",
              &placement.speaker,
              kName,
              "the speaker that was measured",
              {.needs = {"--config", "--experiment"}, .excludes = {"--room"}}},
             {"--model", &placement.model, kName, "its model, \"Acme/Alpha\"", {.needs = {"--speaker"}}},
             {"--config", &placement.config, kName, "its configuration, \"Bi amp\"", {.needs = {"--speaker"}}},
             {"--experiment", &placement.experiment, kName, "the set-up of the measurement", {.needs = {"--speaker"}}},
             {"--library", &placement.library, {"LIB"}, "links the project to this library", {.needs = {"--speaker"}}},
             {"--room", &placement.room, kName, "the room that was measured", {.needs = {"--position", "--channel"}}},
             {"--position", &placement.position, kName, "the microphone's place in the room", {.needs = {"--room"}}},
             {"--channel", &placement.channel, {"N"}, "the processor channel that was heard", {.needs = {"--room"}}}},
        .details =
            "A text file (.frd, .txt, .csv and others) holds a frequency response or a microphone calibration: "
            "frequency\n"
            "in Hz, level in dB and perhaps phase in degrees. A sound file (.wav and others) holds an impulse "
            "response:\n"
            "one column per channel, full scale -1 to 1, and the sample rate in Hz.\n"
            "\n"
            "Files become named data of a project: with all their columns, the sample rate (0 for text), the file's "
            "name\n"
            "without its extension, and its date. Measurements of speakers and rooms have one column per channel:\n"
            "of a frequency response the levels go there, and the whole file becomes named data besides.\n"
            "\n"
            "With --speaker files become measurements of that speaker in its configuration, taken with that "
            "experiment.\n"
            "Speaker and experiment are made when missing. The configuration is made from the speaker's model, which "
            "the\n"
            "project's library has to know: --model and, the first time, --library. One that is there needs neither.\n"
            "A measurement has one channel per output. Mono files, exactly as many as there are outputs, become the\n"
            "channels of one measurement, in their order, named after what their names begin with together.\n"
            "\n"
            "With --room files become measurements at that position of that room; both are made when missing.\n"
            "\n"
            "In a library microphone calibrations become microphones, named after the serial number (else the file), "
            "with\n"
            "the levels as curve and the sensitivity as scale. Other files are refused.\n"
            "\n"
            "A file that cannot be read, or whose name is taken (regardless of case), is named on standard error with "
            "the\n"
            "reason; nothing of it is imported, and the others are. The document is saved once, at the end; when "
            "nothing\n"
            "can be imported it is neither created nor changed.",
        .incomplete = "some files, or all, were not imported",
        .run = [arguments] { return ImportRun(*arguments).Run(); }};
}

}  // namespace lumvex::app
