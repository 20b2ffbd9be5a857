#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <system_error>
#include <unordered_set>
#include <vector>

#include "arguments.hpp"
#include "commands.hpp"
#include "document.hpp"
#include "files/text_encoding.hpp"
#include "named_data.hpp"
#include "progress_line.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

struct Arguments {
    fs::path document;
    std::vector<fs::path> files;
    bool replace = false;
};

// What is loaded only for its name is released again.
constexpr LONG kFewestLoaded = 1000, kMostLoaded = 4000;

std::string Report(const MeasurementFile& file) {
    std::ostringstream report;
    report << Shown(FromUtf8(file.name)) << ": " << ShapeText(file.rows, file.columns);
    if (file.kind == MeasurementFile::Kind::Impulse) report << ", " << file.sampleRate << " Hz";
    if (file.kind == MeasurementFile::Kind::Calibration) report << ", calibration";
    if (file.sensitivity) report << ", sensitivity " << *file.sensitivity << " dB";
    if (file.serialNumber) report << ", serial number " << Shown(FromUtf8(*file.serialNumber));
    return report.str();
}

// One run of the command: files go into the project in memory one after the other, the document is saved once.
class Import {
public:
    explicit Import(const Arguments& arguments)
        : arguments_(arguments), isNew_(!Exists(arguments.document)), project_(Open()) {}

    ExitStatus Run() {
        NamedData names(OnDocument(arguments_.document, "cannot be read", [&] { return project_.Data(); }));
        ProgressLine progress("reading file");
        for (const fs::path& path : arguments_.files) {
            progress.Show(++started_, arguments_.files.size());
            try {
                const MeasurementFile file = ReadMeasurementFile(path);
                OnDocument(arguments_.document, "cannot be read", [&] { Add(path, file, names); });
                reports_.push_back(Report(file));
            } catch (const FileError& error) {
                progress.Clear();
                std::cerr << error.what() << '\n';
            }
        }
        progress.Clear();
        if (!reports_.empty()) Save();
        for (const std::string& report : reports_) std::cout << report << '\n';
        const std::string document = Utf8(arguments_.document);
        if (reports_.empty()) {
            std::cerr << document << ": nothing was imported; the document was not "
                      << (isNew_ ? "created\n" : "changed\n");
        } else {
            std::cout << reports_.size() << " of " << arguments_.files.size() << " files imported into " << document
                      << '\n';
        }
        return reports_.size() == arguments_.files.size() ? kDone : kIncomplete;
    }

private:
    // A path that cannot be looked at is left to the library, which says why.
    static bool Exists(const fs::path& document) {
        std::error_code error;
        return fs::exists(document, error) || error;
    }

    Project Open() const {
        if (isNew_) {
            Project project = Project::Create();
            project.AccessMode(LX_SHARE_READWRITE);
            return project;
        }
        Project project = OpenProject(arguments_.document, LX_SHARE_READWRITE);
        OnDocument(arguments_.document, "cannot be changed", [&] {
            if (project.VersionSupport() == LX_VER_R_COMPATIBLE)
                throw Error(E_ACCESSDENIED,
                            "a newer version of the program wrote it, and would lose what is new in it");
            project.SetCacheBounds(kFewestLoaded, kMostLoaded);
        });
        return project;
    }

    void Add(const fs::path& path, const MeasurementFile& file, NamedData& names) {
        const std::u16string name = FromUtf8(file.name);
        const Datum existing = names.Find(name);
        if (existing && written_.contains(existing.ID()))
            throw FileError(path, "the name " + Quoted(file.name) + " is that of another file of this import already");
        if (existing && !arguments_.replace)
            throw FileError(path, "the document has a datum named " + Quoted(file.name) +
                                      " already; --replace gives it the file's content");
        const Datum datum = existing ? existing : project_.Data().Add(name);
        try {
            Store(file, datum);
        } catch (const Error& error) {
            if (!existing) project_.Data().Remove(project_.Data().Count());
            throw FileError(path, "cannot be stored: " + Describe(error));
        }
        written_.insert(datum.ID());
    }

    void Save() {
        OnDocument(arguments_.document, "cannot be saved, nothing was imported",
                   [&] { isNew_ ? project_.SaveFileAs(PathText(arguments_.document)) : project_.SaveFile(); });
    }

    const Arguments& arguments_;
    bool isNew_;
    Project project_;
    std::size_t started_ = 0;
    std::unordered_set<std::u16string> written_;  // IDs of the data that this run has made or replaced
    std::vector<std::string> reports_;            // one for each imported file
};

}  // namespace

void AddImport(CLI::App& app, Command& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand("import", "Import measurement files into a project as named data");
    AddDocument(*command, arguments->document, "the project; created when there is no such file");
    command->add_option("FILE", arguments->files, "measurement files")->type_name("")->required();
    command->add_flag(
        "--replace", arguments->replace,
        "give data that have a file's name already the file's content; without it such a file is refused");
    command->footer(
        "A text file (.frd, .txt, .csv and others) holds a frequency response or a microphone calibration: frequency\n"
        "in Hz, level in dB and perhaps phase in degrees, which become the columns of the datum; its sample rate is "
        "0.\n"
        "A sound file (.wav and others) holds an impulse response: one column per channel, full scale -1 to 1, and "
        "the\n"
        "sample rate in Hz. The datum is named after the file without its extension, and dated as the file.\n"
        "A file that cannot be read, or whose name is taken (regardless of case), is named on standard error with the\n"
        "reason; nothing of it is imported, and the others are. The document is saved once, at the end; when nothing\n"
        "can be imported it is neither created nor changed.\n\n" +
        ExitStatusHelp("some files, or all, were not imported"));
    command->callback([arguments, &chosen] { chosen = [arguments] { return Import(*arguments).Run(); }; });
}

}  // namespace lumvex::app
