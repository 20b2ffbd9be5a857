#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <system_error>
#include <unordered_set>
#include <vector>

#include "command_line/progress_line.hpp"
#include "command_line/run_options.hpp"
#include "command_line/terminal.hpp"
#include "commands/commands.hpp"
#include "documents/document.hpp"
#include "files/replaced_file.hpp"
#include "files/sound_file.hpp"
#include "files/text_encoding.hpp"
#include "measurements/export_names.hpp"
#include "measurements/named_data.hpp"
#include "measurements/object_files.hpp"
#include "measurements/piped_input.hpp"
#include "measurements/stored_files.hpp"
#include "objects/opened.hpp"
#include "objects/walking.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

using FileKind = MeasurementFile::Kind;

struct ExportArguments {
    fs::path document;
    std::vector<std::string> addresses;
    std::string array = "Data", format, bits;
    fs::path output;
    bool all = false, force = false;
};

// An array of an item.
struct Source {
    Node item;
    const MemberDescription* property;
    LONG place = 0;  // of a datum among all, from 1; 0: not known
};

const std::vector<std::string>& Formats() {
    static const std::vector<std::string> formats = {"txt", "frd", "csv", "wav", "flac", "json"};
    return formats;
}

FileFormat FormatCalled(const std::string& format) { return FormatOf("x." + format); }

bool IsSound(FileFormat format) { return format == FileFormat::Wav || format == FileFormat::Flac; }

const char* ExtensionFor(const MeasurementFile& file) {
    return file.kind == FileKind::Impulse ? ".wav" : file.kind == FileKind::Data ? ".csv" : ".txt";
}

WriteOptions OptionsOf(const std::string& bits) {
    if (bits == "16") return {.bits = SampleBits::Whole16};
    if (bits == "24") return {.bits = SampleBits::Whole24};
    if (bits == "32") return {.bits = SampleBits::Whole32};
    if (bits == "float") return {.bits = SampleBits::Float};
    return {};
}

// Is the output meant as a folder, whether it is there or not?
bool IsFolder(const fs::path& output) {
    std::error_code ignored;
    return fs::is_directory(output, ignored) || !output.has_filename();
}

class ExportRun {
public:
    explicit ExportRun(const ExportArguments& arguments) : arguments_(arguments), document_(arguments.document) {}

    ExitStatus Run() {
        return OnObjects(arguments_.document, "cannot be read", [&] {
            CheckFormat();
            if (arguments_.format == "json" || (arguments_.format.empty() && IsObjectFile(arguments_.output)))
                return ExportObjects(document_, arguments_.addresses, ObjectFile(), arguments_.force);
            const bool isFile = !IsFolder(arguments_.output) && arguments_.output.has_extension();
            if (arguments_.addresses.empty() && isFile)
                throw FileError(arguments_.output,
                                "NAME says which array goes into the file; all of them take a folder");
            FindSources();
            const bool single = !IsForAll() && sources_.size() == 1;
            if (IsStandardOutput(arguments_.output) || IsDevice(arguments_.output)) {
                if (!single) Refuse("standard output, devices and pipes take one item alone");
                if (IsStandardOutput(arguments_.output)) {
                    ToStandardOutput(sources_[0]);
                } else {
                    ToFile(FileFor(sources_[0]), arguments_.output);
                }
            } else if (single && !IsFolder(arguments_.output)) {
                ToFile(FileFor(sources_[0]), arguments_.output);
            } else {
                ToFolder();
            }
            return status_;
        });
    }

private:
    bool IsForAll() const { return arguments_.all || arguments_.addresses.empty(); }

    // A variant may be a truth value as well.
    static bool IsArrayOrNone(const VARIANT& value) { return value.vt == VT_EMPTY || (value.vt & VT_ARRAY) != 0; }

    [[noreturn]] void Refuse(const std::string& reason) const { throw FileError(arguments_.document, reason); }

    // A file whose extension says another format than --format would mislead whoever finds it.
    void CheckFormat() const {
        const std::string extension = LowerExtension(arguments_.output);
        if (arguments_.format.empty() || IsFolder(arguments_.output) || IsDevice(arguments_.output)) return;
        const auto isSame = [&](const std::string& said) {
            return said == arguments_.format || (said != "json" && arguments_.format != "json" &&
                                                 FormatCalled(said) == FormatCalled(arguments_.format));
        };
        for (const std::string& known : Formats())
            if (extension == "." + known && !isSame(known))
                throw FileError(arguments_.output,
                                "its extension says another format than --format " + arguments_.format);
    }

    // Where objects go: in a folder into a file that is called as the document.
    fs::path ObjectFile() const {
        if (!IsFolder(arguments_.output)) return arguments_.output;
        std::error_code error;
        fs::create_directories(arguments_.output, error);
        if (error) throw FileError(arguments_.output, error);
        return arguments_.output / arguments_.document.filename().replace_extension(".json");
    }

    // What a single file or device is written as; none: as its extension says.
    std::optional<FileFormat> FormatFor(const MeasurementFile& file, const fs::path& path) const {
        if (!arguments_.format.empty()) return FormatCalled(arguments_.format);
        if (IsDevice(path)) return FormatOf(std::string("x") + ExtensionFor(file));
        return std::nullopt;
    }

    void FindSources() {
        if (IsForAll()) {
            if (arguments_.addresses.empty()) AddAllBelow(document_.Root());
            for (const std::string& address : arguments_.addresses) {
                for (const Node& each : Outermost(Found(address))) AddAllBelow(each);
            }
        } else {
            for (const std::string& address : arguments_.addresses) {
                for (const Node& item : Found(address))
                    sources_.push_back({item, &ArrayOf(item, address), PlaceOf(item)});
            }
        }
        if (sources_.empty() && status_ == kDone) Refuse("there is nothing to export");
    }

    // The text is tried as the name of a datum first, and then as an address: a name may look like one.
    std::vector<Node> Found(const std::string& address) {
        if (const auto* project = std::get_if<Project>(&document_.Any())) {
            if (!data_) data_.emplace(project->Data());
            if (const Datum datum = data_->Find(FromUtf8(address))) return {Node(datum)};
        }
        return document_.Objects().FindAll(address);
    }

    LONG PlaceOf(const Node& item) {
        if (!item.As<Datum>() || !data_) return 0;
        const Datum named = data_->Find(item.Name());  // the first of the name
        return named && named.ID() == item.Id() ? data_->Place(item.Name()) : 0;
    }

    const MemberDescription& ArrayOf(const Node& item, const std::string& address) const {
        const std::vector<const MemberDescription*> arrays = ArrayProperties(item.Type());
        std::string names;
        for (const MemberDescription* each : arrays) {
            if (CompareNoCase(FromUtf8(each->name), FromUtf8(arguments_.array)) == 0) return *each;
            if (IsArrayOrNone(item.Get(*each))) names += (names.empty() ? "" : ", ") + std::string(each->name);
        }
        Refuse(Quoted(address) + " has no array " + Quoted(arguments_.array) + "; there is " +
               (names.empty() ? "none" : names));
    }

    // Reports what fails, so that the others can follow.
    template <class Work>
    void Try(const std::string& what, Work&& work) {
        try {
            work();
        } catch (const Error& error) {
            Report(Utf8(arguments_.document) + ": " + what + " cannot be read: " + Describe(error));
        } catch (const FileError& error) {
            Report(error.what());
        }
    }

    void Report(const std::string& problem) {
        progress_.Clear();
        std::cerr << problem << '\n';
        status_ = kIncomplete;
    }

    // Every array that an object and those below it keep. Those that are made of others are left out.
    void AddAllBelow(const Node& object) {
        if (object.IsCollection()) {
            const LONG count = object.Count();
            for (LONG place = 1; place <= count; ++place)
                Try("item " + std::to_string(place) + " of " + Shown(object.Name()), [&] {
                    const std::size_t before = sources_.size();
                    AddAllBelow(object.Member(place));
                    for (std::size_t at = before; at < sources_.size(); ++at) {
                        if (sources_[at].item.As<Datum>()) sources_[at].place = place;
                    }
                });
            return;
        }
        if (!object.Is(lumvex::app::Kind::Root)) {
            for (const MemberDescription* each : ArrayProperties(object.Type())) {
                if (each->use == MemberUse::ReadWrite) sources_.push_back({object, each});
            }
        }
        for (const MemberDescription* child : ChildCollectionsOf(object.Type()))
            Try(std::string(child->name), [&] { AddAllBelow(object.Follow(*child)); });
    }

    void ToStandardOutput(const Source& source) {
        MeasurementFile file = FileFor(source);
        const fs::path path = "standard output";
        const FileFormat format =
            FormatOf("x" + (arguments_.format.empty() ? ExtensionFor(file) : '.' + arguments_.format));
        std::stringstream bytes;
        Write(path, format, file, [&](const MeasurementFile& written) {
            return WriteMeasurement(path, bytes, format, written, OptionsOf(arguments_.bits));
        });
        BinaryOutput();
        bytes.clear();
        bytes.seekg(0);
        std::cout << bytes.rdbuf();
        Reports() << Shown(source.item.Name()) << ": " << ShapeText(file.rows, file.columns) << " written\n";
    }

    void ToFile(MeasurementFile file, const fs::path& path) {
        CheckMayWrite(path, arguments_.force);
        WriteOptions options = OptionsOf(arguments_.bits);
        options.format = FormatFor(file, path);
        Write(path, options.format ? *options.format : FormatOf(path), file,
              [&](const MeasurementFile& written) { return WriteMeasurementFile(path, written, options); });
        Reports() << Shown(FromUtf8(file.name)) << ": " << ShapeText(file.rows, file.columns) << " written to "
                  << Utf8(path) << '\n';
    }

    void ToFolder() {
        std::vector<Source> full;
        for (const Source& source : sources_) {
            Try(Shown(source.item.Name()), [&] {
                const Array array(source.item.Get(*source.property));
                const bool hasValues = !array.Empty() && array.Rows() != 0 && array.Columns() != 0;
                if ((!hasValues || IsHeader(source)) && IsForAll()) return;
                if (array.Type() == VT_R4 || !IsForAll()) full.push_back(source);
            });
        }
        ExportNames names;
        for (const Source& source : full) names.Add(source.item, *source.property);
        std::size_t done = 0, written = 0;
        for (const Source& source : full) {
            progress_.Show(++done, full.size());
            Try(Shown(source.item.Name()), [&] {
                MeasurementFile file = FileFor(source);
                const std::string extension = arguments_.format.empty() ? ExtensionFor(file) : '.' + arguments_.format;
                const fs::path path = arguments_.output / names.PathOf(done - 1, extension);
                std::error_code error;
                fs::create_directories(path.parent_path(), error);
                if (error) throw FileError(path.parent_path(), error);
                progress_.Clear();
                ToFile(std::move(file), path);
                ++written;
            });
        }
        progress_.Clear();
        Reports() << written << " of " << full.size() << " arrays written to " << Utf8(arguments_.output) << '\n';
    }

    // Headers go out with the datum before them.
    bool IsHeader(const Source& source) const {
        const auto* project = std::get_if<Project>(&document_.Any());
        return project && source.place > 1 && !HeaderBehind(project->Data(), source.place - 1).empty();
    }

    MeasurementFile FileFor(const Source& source) const {
        if (Array(source.item.Get(*source.property)).Type() == VT_UI1)
            Refuse(Shown(source.item.Name()) + " holds bytes, no numbers");
        const auto* project = std::get_if<Project>(&document_.Any());
        const bool isDatum = project && source.place != 0;
        MeasurementFile file = FileFrom(source.item, *source.property,
                                        isDatum ? HeaderBehind(project->Data(), source.place) : std::string());
        if (file.rows == 0)
            Refuse(Shown(source.item.Name()) + " has no values in " + std::string(source.property->name));
        return file;
    }

    // What a format of samples does not keep is told.
    template <class WriteFile>
    void Write(const fs::path& path, FileFormat format, MeasurementFile& file, WriteFile write) {
        if (!IsSound(format)) {
            write(file);
            return;
        }
        file.kind = FileKind::Impulse;
        const std::size_t rounded = write(file);
        if (rounded != 0)
            Tell(path, std::to_string(rounded) + " of " + std::to_string(file.values.size()) + " samples are rounded");
        const SoundFormat sound = format == FileFormat::Flac ? SoundFormat::Flac : SoundFormat::Wav;
        if (!KeepsLoudspeakers(file, sound)) Tell(path, "the loudspeakers of its channels are left out");
        if (file.startTime.value_or(0) != 0) Tell(path, "the start time is left out; .txt and .csv keep it");
    }

    void Tell(const fs::path& path, const std::string& note) {
        progress_.Clear();
        std::cerr << Utf8(path) << ": " << note << '\n';
    }

    const ExportArguments& arguments_;
    ReadDocument document_;
    std::optional<NamedData> data_;
    std::vector<Source> sources_;
    ProgressLine progress_{"writing file"};
    ExitStatus status_ = kDone;
};

}  // namespace

Command commands::Export() {
    const auto arguments = std::make_shared<ExportArguments>();
    return {
        .name = "export",
        .summary = "Write arrays of a document into measurement files",
        .options =
            {DocumentOption(arguments->document, "the project or library; opened for reading only"),
             {"NAME", &arguments->addresses, kShown,
              "names of data, regardless of case (of several the first), or addresses of any items with an array; "
              "without any all arrays are written into a folder"},
             {"-o,--output",
              &arguments->output,
              kFile,
              "the file to write, whose extension says the format; - for standard output; a device or pipe; or a "
              "folder",
              {.required = true}},
             {"--all",
              &arguments->all,
              {},
              "write every array of what is below NAME, or of the document, into a folder"},
             {"--format",
              &arguments->format,
              {.shown = "FORMAT", .choices = Formats()},
              "the format in a folder, of a file whose extension says none, and on standard output, devices and pipes; "
              "there and\nin folders else wav for impulse responses, csv for plain numbers and txt for all others"},
             {"--bits",
              &arguments->bits,
              {.shown = "BITS", .choices = {"16", "24", "32", "float"}},
              "samples in .wav (float without this option) and .flac (24; or 16)"},
             {"--array", &arguments->array, kName,
              "which array: Data (without this option), Data2 (a correction's smoothed measurement), VerifyMeas, "
              "LimitData, CrossoverData, EqualiserData"},
             {"--force", &arguments->force, {}, "replace files that exist; without it that is refused"}},
        .details =
            "Formats: .frd and .txt (columns between tabs) and .csv (commas) for frequency responses and calibrations\n"
            "(frequency in Hz, level in dB and perhaps phase in degrees), for impulse responses (below a header with "
            "the\n"
            "sample rate and the start time) and for any columns of numbers; .wav (one channel per column, the item's\n"
            "sample rate in Hz) and .flac for impulse responses. Importing a text file or a .wav file of floats again "
            "gives\n"
            "the same bits; samples that fewer bits round are told. An array with a sample rate is written as a "
            "response\n"
            "when its first column rises as frequencies do. Tables of limits, crossovers and equalisers have a line "
            "for\n"
            "each entry. A microphone's calibration has its sensitivity and its name as serial number. A file is "
            "written\n"
            "completely or not at all, and gets the item's date.\n"
            "\n"
            ".json keeps the items themselves, with all their properties and everything below them, arrays included; "
            "import\n"
            "puts them back without loss. Without NAME it is the whole document; in a folder the file is called as "
            "the\n"
            "document is (\"studio.json\").\n"
            "\n"
            "In a folder each file is named after its item, in folders as in the document, without those that all "
            "files\n"
            "share; arrays other than Data have their name behind that of the item (\"Flat.LimitData.csv\"). "
            "Characters that\n"
            "no system takes in the names of files become _, and names that are the same get a number.\n\n" +
            std::string(kAddressHelp),
        .incomplete = "there is no such item or array, something could not be read, or a file not be written",
        .run = [arguments] { return ExportRun(*arguments).Run(); }};
}

}  // namespace lumvex::app
