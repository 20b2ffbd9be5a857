#include <algorithm>
#include <chrono>
#include <iomanip>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "command_line/colours.hpp"
#include "commands/commands.hpp"
#include "documents/document.hpp"
#include "documents/documents_in.hpp"
#include "files/text_encoding.hpp"
#include "measurements/linked_library.hpp"
#include "objects/json.hpp"
#include "objects/properties.hpp"

namespace lumvex::app {

namespace {

namespace fs = std::filesystem;

struct InfoArguments {
    std::vector<fs::path> places;
    bool json = false;
};

const char* WordsOf(LXVersionSupport support) {
    switch (support) {
        case LX_VER_RW_COMPATIBLE:
            return "can be read and written";
        case LX_VER_R_COMPATIBLE:
            return "written by a newer version, can be read";
        case LX_VER_INCOMPATIBLE:
            return "needs a newer version, cannot be opened";
        case LX_VER_DEPRECATED:
            return "of an old format without version information, can be opened";
        case LX_VER_FAILLOAD:
            return "the version information is damaged, cannot be opened";
    }
    return "unknown";
}

// The local time of the last change: "2024-05-03T21:05:00"; empty where the system does not tell it.
std::string LastSaved(const fs::path& document) {
    std::error_code error;
    const auto written = fs::last_write_time(document, error);
    if (error) return {};
    const auto time = std::chrono::system_clock::to_time_t(
        std::chrono::time_point_cast<std::chrono::seconds>(std::chrono::file_clock::to_sys(written)));
    const std::tm* local = std::localtime(&time);
    std::ostringstream text;
    if (local) text << std::put_time(local, "%Y-%m-%dT%H:%M:%S");
    return text.str();
}

// What is known of a document before and after it was opened. Facts of a document that cannot be opened are known too.
Json FactsOf(const fs::path& document) {
    const DocumentFacts facts =
        OnDocument(document, "cannot be read", [&] { return WhenFree([&] { return InspectDocument(document); }); });
    Json json{
        {"document", Utf8(document)},
        {"rootClass", facts.rootClass},
        {"id", facts.rootId},
        {"objects", facts.objects},
        {"classes", Json::object()},
        {"file", {{"bytes", facts.fileBytes}, {"sectorBytes", facts.sectorBytes}, {"saved", LastSaved(document)}}},
        {"streams", {{"count", facts.streams}, {"bytes", facts.streamBytes}}}};
    for (const ClassCount& each : facts.classes) json["classes"][each.className] = each.objects;
    if (facts.library) json["library"] = LibraryJson(*facts.library, FindLibrary(document, *facts.library).has_value());
    return json;
}

// Adds what only an open document tells. Throws DocumentError, and has added the version support then.
void AddOpened(const fs::path& document, Json& json) {
    const bool isLibrary = json["rootClass"] == "CSpecifications";
    Project project = isLibrary ? Project() : Project::Create();
    Root root = isLibrary ? static_cast<Root>(Specifications::Create()) : static_cast<Root>(project);
    const auto addSupport = [&] {
        const LXVersionSupport support = root.VersionSupport();
        json["versionSupport"] = {{"value", static_cast<LONG>(support)}, {"meaning", WordsOf(support)}};
    };
    OnDocument(document, isLibrary ? "cannot be opened as a library" : "cannot be opened as a project", [&] {
        root.AccessMode(LX_SHARE_READ);
        try {
            WhenFree([&] { root.OpenFile(PathText(document)); });
        } catch (const Error&) {
            addSupport();
            throw;
        }
        addSupport();
        if (project) json["units"] = project.Units() == LX_UNITS_METRIC ? "metric" : "imperial";
    });
}

constexpr int kLabelWidth = 25;  // fits "  CSpkrCorrectionGroups"

template <class Value>
void Line(const std::string& label, const Value& value) {
    std::cout << std::left << std::setw(kLabelWidth) << label << value << '\n';
}

std::string Words(const Json& value, const char* otherwise) {
    const std::string text = value.get<std::string>();
    return text.empty() ? otherwise : text;
}

void Print(const Json& json) {
    Line("document", json["document"].get<std::string>());
    Line("root class", Words(json["rootClass"], "none is listed"));
    Line("ID", Words(json["id"], "none is listed"));
    Line("objects", json["objects"]);
    for (const auto& [name, count] : json["classes"].items()) Line("  " + name, count);
    const Json& file = json["file"];
    Line("file", file["bytes"].dump() + " bytes in sectors of " + file["sectorBytes"].dump());
    if (!file["saved"].get<std::string>().empty()) Line("saved", file["saved"].get<std::string>());
    Line("streams", json["streams"]["count"].dump() + " with " + json["streams"]["bytes"].dump() + " bytes");
    if (json.contains("library")) {
        const Json& library = json["library"];
        Line("linked library",
             Shown(FromUtf8(library["path"].get<std::string>())) + (library["found"] ? "" : ", which was not found"));
        Line("  ID", library["id"].get<std::string>());
    }
    if (json.contains("units")) Line("units", json["units"].get<std::string>());
    if (json.contains("versionSupport")) {
        const Json& support = json["versionSupport"];
        Line("version support", support["value"].dump() + ", " + support["meaning"].get<std::string>());
    }
}

// One document after the other; one that cannot be read is reported, and the others are printed. Facts are printed also
// of a document that cannot be opened.
ExitStatus RunInfo(const InfoArguments& arguments) {
    ExitStatus status = kDone;
    Json all = Json::array();
    const FoundDocuments documents = DocumentsIn(arguments.places);
    for (const fs::path& document : documents.paths) {
        Json facts;
        std::string problem;
        try {
            facts = FactsOf(document);
            AddOpened(document, facts);
        } catch (const DocumentError& error) {
            problem = error.what();
            status = kDocumentFailed;
        }
        if (arguments.json) {
            if (facts.is_null()) facts["document"] = Utf8(document);
            if (!problem.empty()) facts["error"] = problem;
        } else if (!facts.is_null()) {
            if (!all.empty()) std::cout << '\n';
            Print(facts);
        }
        if (!problem.empty()) std::cerr << OnErrors(Colour::Bad, problem) << '\n';
        all.push_back(std::move(facts));
    }
    for (const std::string& problem : documents.problems) std::cerr << OnErrors(Colour::Bad, problem) << '\n';
    if (!documents.problems.empty()) status = kDocumentFailed;
    if (arguments.json) PrintJson(std::cout, all);
    return status;
}

}  // namespace

Command commands::Info() {
    const auto arguments = std::make_shared<InfoArguments>();
    return {
        .name = "info",
        .summary = "Print what documents say of themselves, without loading their objects",
        .options = {{"DOC",
                     &arguments->places,
                     kShown,
                     "documents, opened for reading only, and folders of them (.lvp, .lvs)",
                     {.required = true}},
                    {"--json", &arguments->json, {}, "print a JSON list of documents"}},
        .details =
            "Printed are the class and ID of the root, the number of objects of each class (the root included), the "
            "file's\n"
            "length and sector size in bytes and when it was saved last (local time), the number of streams with the "
            "length of\n"
            "their content in bytes, the library that a project is linked to and its system of units, and how the "
            "versions of\n"
            "the stored classes suit this program.\n"
            "Version support: 0 can be read and written, 1 written by a newer version and can be read, 3 needs a "
            "newer\n"
            "version, 7 of an old format without version information, -1 damaged version information.",
        .incomplete = "the answer could not be printed",
        .run = [arguments] { return RunInfo(*arguments); }};
}

}  // namespace lumvex::app
