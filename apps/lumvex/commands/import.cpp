#include <algorithm>
#include <iostream>
#include <iterator>
#include <memory>
#include <span>
#include <sstream>
#include <vector>

#include "command_line/progress_line.hpp"
#include "command_line/run_options.hpp"
#include "commands/commands.hpp"
#include "documents/document.hpp"
#include "files/impulse_of_response.hpp"
#include "files/loudspeakers.hpp"
#include "files/text_encoding.hpp"
#include "measurements/destination.hpp"
#include "measurements/model_lookup.hpp"
#include "measurements/named_data.hpp"
#include "measurements/object_files.hpp"
#include "measurements/reading_options.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

struct ImportArguments {
    fs::path document;
    std::vector<fs::path> files;
    ReadingArguments reading;
    std::string toImpulse;  // the sample rate in Hz; empty: not asked for
    Placement placement;
};

std::string Report(std::span<const InputFile> files, const StoredItem& stored) {
    std::ostringstream report;
    for (const InputFile& file : files) report << (&file == &files[0] ? "" : ", ") << Utf8(file.path);
    const MeasurementFile& content = stored.content;
    report << " -> " << stored.place << ": " << ShapeText(content.rows, content.columns);
    if (content.kind == MeasurementFile::Kind::Impulse) report << ", " << content.sampleRate << " Hz";
    if (content.kind == MeasurementFile::Kind::Calibration) report << ", calibration";
    if (content.startTime && *content.startTime != 0) report << ", starts at " << *content.startTime << " s";
    if (!content.loudspeakers.empty()) report << ", for " << LoudspeakerText(content.loudspeakers);
    if (content.sensitivity) report << ", sensitivity " << *content.sensitivity << " dB";
    if (content.serialNumber) report << ", serial number " << Shown(FromUtf8(*content.serialNumber));
    if (!stored.note.empty()) report << "; " << stored.note;
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
                if (HoldsObjects(path)) {
                    if (!AddedObjects(path)) return NothingImported();
                    continue;
                }
                Try([&] {
                    InputFile file{path, Read(path)};
                    Add(std::span(&file, 1));
                });
            }
        }
        progress_.Clear();
        if (imported_ != 0) document_.Save("cannot be saved, nothing was imported");
        if (imported_ == 0) return NothingImported();
        Reports() << imported_ << " of " << arguments_.files.size() << " files imported into "
                  << Utf8(arguments_.document) << '\n';
        return imported_ == arguments_.files.size() ? kDone : kIncomplete;
    }

private:
    template <class Work>
    decltype(auto) Inside(Work&& work) {
        return OnDocument(arguments_.document, "cannot be read", std::forward<Work>(work));
    }

    ExitStatus NothingImported() {
        progress_.Clear();
        std::cerr << Utf8(arguments_.document) << ": nothing was imported; the document was not "
                  << (document_.IsNew() ? "created\n" : "changed\n");
        return kIncomplete;
    }

    // Reports a file that fails, so that the others can follow; answers whether it did not.
    template <class Work>
    bool Try(Work&& work) {
        try {
            work();
            return true;
        } catch (const FileError& error) {
            progress_.Clear();
            std::cerr << error.what() << '\n';
            return false;
        }
    }

    MeasurementFile Read(const fs::path& path) {
        progress_.Show(++started_, arguments_.files.size());
        MeasurementFile file = ReadNamed(path, arguments_.reading);
        const bool isConverted = file.kind == MeasurementFile::Kind::Response && !arguments_.toImpulse.empty();
        if (isConverted) file = ImpulseOf(path, file, std::stoi(arguments_.toImpulse));
        for (const std::string& note : file.notes) {
            progress_.Clear();
            std::cerr << Utf8(path) << ": " << note << '\n';
        }
        return file;
    }

    void Add(std::span<InputFile> files) {
        const std::string report = Inside([&] { return Report(files, destination_->Add(files)); });
        imported_ += files.size();
        progress_.Clear();
        Reports() << report << '\n';
    }

    // A file of objects that fails may have added some of them: the document must not be saved then.
    bool AddedObjects(const fs::path& path) {
        return Try([&] {
            if (const Project* project = document_.AsProject())
                LinkLibrary(arguments_.document, *project, arguments_.placement.library);
            const std::vector<std::string> added = ImportObjects(document_, path, arguments_.placement.replace);
            progress_.Clear();
            for (const std::string& each : added) Reports() << Utf8(path) << " -> " << each << '\n';
            ++imported_;
        });
    }

    // Makes one measurement of mono files, a channel for each. If one of them cannot be read or is not mono, the others
    // are added as measurements of their own.
    void AddTogether() {
        std::vector<InputFile> files;
        for (const fs::path& path : arguments_.files) {
            Try([&] { files.push_back({path, Read(path)}); });
        }
        const bool areMono = std::ranges::all_of(files, [](const InputFile& file) {
            return file.content.kind == MeasurementFile::Kind::Impulse && file.content.columns == 1;
        });
        if (areMono && files.size() == arguments_.files.size()) {
            Try([&] { Add(files); });
        } else {
            for (InputFile& file : files) Try([&] { Add(std::span(&file, 1)); });
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
    std::vector<Option> options = {
        DocumentOption(arguments->document,
                       "the project or library; created when there is no such file, as a library where it is called "
                       ".lvs"),
        {"FILE", &arguments->files, kShown, "measurement files; - is standard input", {.required = true}},
        {"--replace",
         &placement.replace,
         {},
         "give the item that has the name already, at the place that the options name, the file's content; without it "
         "such a file is refused"}};
    std::ranges::move(ReadingOptions(arguments->reading), std::back_inserter(options));
    const std::vector<Option> places = {
        {"--header", &placement.header, {}, "keep the lines above the numbers as a datum beside each"},
        {"--to-impulse",
         &arguments->toImpulse,
         {"HZ", &ProblemOfRate},
         "make impulse responses at this sample rate of frequency responses"},
        {"--speaker",
         &placement.speaker,
         kName,
         "the speaker that was measured",
         {.needs = {"--config", "--experiment"}, .excludes = {"--room"}}},
        {"--model", &placement.model, kName, "its model, \"Acme/Alpha\"", {.needs = {"--speaker"}}},
        {"--config", &placement.config, kName, "its configuration, \"Bi amp\"", {.needs = {"--speaker"}}},
        {"--experiment", &placement.experiment, kName, "the set-up of the measurement", {.needs = {"--speaker"}}},
        {"--library", &placement.library, {"LIB"}, "links the project to this library"},
        {"--room", &placement.room, kName, "the room that was measured", {.needs = {"--position", "--channel"}}},
        {"--position", &placement.position, kName, "the microphone's place in the room", {.needs = {"--room"}}},
        {"--channel", &placement.channel, {"N"}, "the processor channel that was heard", {.needs = {"--room"}}}};
    options.insert(options.end(), places.begin(), places.end());
    return {
        .name = "import",
        .summary = "Import measurement files into a project or library",
        .use = DocumentUse::Makes,
        .options = std::move(options),
        .details =
            std::string(kReadingHelp) +
            "\n"
            "Files become named data of a project: with all their columns, the sample rate (0 without samples), the\n"
            "file's name without its extension, and its date. What the header of a calibration or of an impulse "
            "response\n"
            "as text says besides, and the loudspeakers that the channels of a sound file are for, is kept in a datum "
            "behind it, \"NAME (header)\"; --header keeps every header so.\n"
            "`export` puts it back.\n"
            "\n"
            ".json files that `export` wrote put objects of any kind back to where they were, with everything below "
            "them,\n"
            "also from standard input. Speakers need their library, which --library links.\n"
            "\n"
            "Speakers and rooms keep impulse responses, one column per channel. --to-impulse makes one of 65536 "
            "samples of\n"
            "a frequency response: of its levels and phases, with time zero 8192 samples behind the first, or without\n"
            "phases of minimum phase; 0 dB is a factor of 1. Between the frequencies levels (dB) are interpolated "
            "over\n"
            "the logarithm of the frequency and phases over the frequency; beyond them levels stay as they are, and\n"
            "phases go on with the delay of the last octave.\n"
            "The start time of an impulse response as text is kept: of a speaker's measurement as MeasureStart, where\n"
            "time zero is (ms behind the first sample), of a room's as ConfigData (s).\n"
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
            "In a library microphone calibrations become microphones, named after the serial number (else the file): "
            "the\n"
            "entries frequency and level (and phase) one after the other in one channel, the sensitivity as scale, "
            "where\n"
            "1 is none. CalibrationMethod stays forward, as in every new one. Other files are refused.\n"
            "\n"
            "A file that cannot be read, or whose name is taken (regardless of case), is named on standard error with "
            "the\n"
            "reason; nothing of it is imported, and the others are. The document is saved once, at the end; when "
            "nothing\n"
            "can be imported it is neither created nor changed. Until then what is more than 64 MB waits in a "
            "temporary\n"
            "file in the document's folder.",
        .incomplete = "some files, or all, were not imported",
        .run = [arguments] {
            const bool isLibraryUseful = arguments->placement.library.empty() ||
                                         !arguments->placement.speaker.empty() ||
                                         std::ranges::any_of(arguments->files, &HoldsObjects);
            if (!isLibraryUseful) {
                std::cerr << "--library needs --speaker, or a .json file\nRun with --help for more information.\n";
                return kWrongUsage;
            }
            if (const std::string problem = ProblemOfNames(arguments->reading, arguments->files.size());
                !problem.empty()) {
                std::cerr << problem << '\n';
                return kWrongUsage;
            }
            arguments->placement.prefix = arguments->reading.prefix;
            return ImportRun(*arguments).Run();
        }};
}

}  // namespace lumvex::app
