#include <iostream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "command_line/progress_line.hpp"
#include "command_line/run_options.hpp"
#include "commands/commands.hpp"
#include "documents/document.hpp"
#include "files/text_encoding.hpp"
#include "lumvex/diagnostics.hpp"
#include "measurements/named_data.hpp"
#include "measurements/reading_options.hpp"
#include "measurements/stored_files.hpp"
#include "objects/json.hpp"
#include "objects/opened.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

struct CompareArguments {
    fs::path document;
    std::vector<fs::path> files;
    std::string with;  // address
    ReadingArguments reading;
    bool json = false, statistics = false;
};

// The items below an object, itself included, that have an array "Data" of their own and this name. What cannot be read
// is left out.
void FindNamed(const Node& object, std::u16string_view name, std::vector<Node>& found) {
    const auto visit = [&](const Node& below) {
        try {
            FindNamed(below, name, found);
        } catch (const Error&) {
            return;
        }
    };
    if (object.IsCollection()) {
        const LONG count = object.Count();
        for (LONG place = 1; place <= count; ++place) {
            try {
                visit(object.Member(place));
            } catch (const Error&) {
                continue;
            }
        }
        return;
    }
    const MemberDescription* data = object.Type().Find("Data");
    const bool isStored = data && data->type == "VARIANT" && data->use == MemberUse::ReadWrite;
    if (isStored && CompareNoCase(object.Name(), name) == 0) found.push_back(object);
    for (const MemberDescription* child : ChildCollectionsOf(object.Type())) visit(object.Follow(*child));
}

class CompareRun {
public:
    explicit CompareRun(const CompareArguments& arguments)
        : arguments_(arguments), document_(OpenDocument(arguments.document, LX_SHARE_READ)), root_(NodeOf(document_)) {
        const auto* project = std::get_if<Project>(&document_);
        if (project) OnDocument(arguments.document, "cannot be read", [&] { data_.emplace(project->Data()); });
    }

    ExitStatus Run() {
        OnObjects(arguments_.document, "cannot be read", [&] {
            for (const fs::path& path : arguments_.files) {
                progress_.Show(++started_, arguments_.files.size());
                try {
                    Compare(path);
                } catch (const FileError& error) {
                    progress_.Clear();
                    std::cerr << error.what() << '\n';
                    all_.push_back({{"file", Utf8(path)}, {"problem", error.what()}});
                }
            }
        });
        if (arguments_.json) PrintJson(std::cout, all_);
        Reports() << same_ << " of " << arguments_.files.size() << " files are the same bit for bit\n";
        if (arguments_.statistics) {
            const LoadStatistics statistics = StatisticsOf(RootOf(document_).Get());
            std::cerr << statistics.objectsLoaded << " objects loaded, " << statistics.bytesRead << " bytes read\n";
        }
        return same_ == arguments_.files.size() ? kDone : kIncomplete;
    }

private:
    // A file is the same as soon as one item of its name is.
    void Compare(const fs::path& path) {
        const MeasurementFile file = ReadNamed(path, arguments_.reading);
        progress_.Clear();
        for (const std::string& note : file.notes) std::cerr << Utf8(path) << ": " << note << '\n';
        bool isSame = false;
        for (const Node& item : ItemsFor(path, file)) {
            const auto difference = DifferenceOf(file, FileFrom(item, *item.Type().Find("Data"), HeaderFor(item)));
            isSame |= !difference;
            if (arguments_.json) {
                Json json{{"file", Utf8(path)}, {"ID", ToUtf8(item.Id())}, {"address", AddressOf(item)}};
                json["same"] = !difference;
                json["difference"] = difference ? Json(*difference) : Json();
                all_.push_back(std::move(json));
                continue;
            }
            std::cout << NameOf(item) << ": " << (difference ? "differs: " + *difference : "the same")
                      << (difference ? "" : ", " + ShapeText(file.rows, file.columns)) << '\n';
        }
        same_ += isSame;
    }

    // What the document keeps of the header of a datum's file.
    std::string HeaderFor(const Node& item) {
        const auto* project = std::get_if<Project>(&document_);
        if (!project || !item.As<Datum>() || !data_->Find(item.Name())) return {};
        return HeaderBehind(project->Data(), data_->Place(item.Name()));
    }

    std::vector<Node> ItemsFor(const fs::path& path, const MeasurementFile& file) {
        if (!arguments_.with.empty()) {
            const Node item = Addresses(arguments_.document, root_).Find(arguments_.with);
            const MemberDescription* data = item.Type().Find("Data");
            if (!data || data->type != "VARIANT")
                throw FileError(arguments_.document, Quoted(arguments_.with) + " holds no array of its own");
            return {item};
        }
        if (data_) {
            if (const Datum datum = data_->Find(FromUtf8(file.name))) return {Node(datum)};
        }
        std::vector<Node> found;
        FindNamed(root_, FromUtf8(file.name), found);
        const bool isSerial = found.empty() && file.serialNumber && !file.isNamed;
        if (isSerial) FindNamed(root_, FromUtf8(*file.serialNumber), found);
        if (found.empty()) throw FileError(path, "the document has nothing named " + Quoted(file.name));
        return found;
    }

    // Data by their names, as most are; others by their addresses.
    std::string NameOf(const Node& item) {
        if (item.As<Datum>() || item.As<Microphone>()) return Shown(item.Name());
        const std::string address = AddressOf(item);
        return address.starts_with('{') ? Shown(item.Name()) + ' ' + address : address;
    }

    // The path or, where something beside the item cannot be read, the ID.
    std::string AddressOf(const Node& item) {
        try {
            return paths_.Of(item);
        } catch (const Error&) {
            return ToUtf8(item.Id());
        }
    }

    const CompareArguments& arguments_;
    AnyDocument document_;
    Node root_;
    std::optional<NamedData> data_;
    Paths paths_;
    Json all_ = Json::array();
    ProgressLine progress_{"comparing file"};
    std::size_t started_ = 0, same_ = 0;
};

}  // namespace

Command commands::Compare() {
    const auto arguments = std::make_shared<CompareArguments>();
    std::vector<Option> options = {
        DocumentOption(arguments->document, "the project or library; opened for reading only"),
        {"FILE", &arguments->files, kShown, "measurement files, as for import", {.required = true}},
        {"--with", &arguments->with, {"ADDRESS"}, "the item that all files are compared with"},
        {"--json", &arguments->json, {}, "print a JSON list of comparisons"},
        {"--statistics",
         &arguments->statistics,
         {},
         "print on standard error how many objects were loaded and how many bytes of the document were read"}};
    std::ranges::move(ReadingOptions(arguments->reading), std::back_inserter(options));
    return {
        .name = "compare",
        .summary = "Compare measurement files with what a document has of them",
        .options = std::move(options),
        .details =
            "Each file is compared with the datum of its name (regardless of case), else with all that have its name\n"
            "under speakers and rooms or, of microphones, its serial number; it is the same when one of them is: "
            "rows,\n"
            "columns, sample rate in Hz and every value, bit for bit, start time, sensitivity and serial number as far "
            "as\n"
            "the document keeps them. A file with samples that 32-bit floats do not hold differs. What cannot be read "
            "is\n"
            "left out. Data are loaded as they are looked for.",
        .incomplete = "a file differs, could not be read, or the document has nothing of its name",
        .run = [arguments] { return CompareRun(*arguments).Run(); }};
}

}  // namespace lumvex::app
