#include <iomanip>
#include <iostream>
#include <memory>

#include "commands.hpp"
#include "document.hpp"
#include "files/text_encoding.hpp"
#include "lumvex/diagnostics.hpp"

namespace lumvex::app {

namespace {

constexpr int kLabelWidth = 25;  // fits "  CSpkrCorrectionGroups"

std::ostream& Line(const std::string& label) { return std::cout << std::left << std::setw(kLabelWidth) << label; }

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

void PrintSupport(const std::filesystem::path& document, Root root, const char* attempt) {
    const auto print = [&] {
        const LXVersionSupport support = root.VersionSupport();
        Line("version support") << static_cast<LONG>(support) << ", " << WordsOf(support) << '\n';
    };
    OnDocument(document, attempt, [&] {
        root.AccessMode(LX_SHARE_READ);
        try {
            root.OpenFile(PathText(document));
        } catch (const Error&) {
            print();
            throw;
        }
        print();
    });
}

// Prints the facts about the file before it opens the document, so that they are seen also when that fails.
ExitStatus RunInfo(const std::filesystem::path& document) {
    const DocumentFacts facts = OnDocument(document, "cannot be read", [&] { return InspectDocument(document); });
    Line("document") << Utf8(document) << '\n';
    Line("root class") << (facts.rootClass.empty() ? "none is listed" : facts.rootClass) << '\n';
    Line("ID") << (facts.rootId.empty() ? "none is listed" : facts.rootId) << '\n';
    Line("objects") << facts.objects << '\n';
    for (const ClassCount& each : facts.classes) Line("  " + each.className) << each.objects << '\n';
    Line("file") << facts.fileBytes << " bytes in sectors of " << facts.sectorBytes << '\n';
    Line("streams") << facts.streams << " with " << facts.streamBytes << " bytes\n";

    if (facts.rootClass == "CSpecifications") {
        PrintSupport(document, Specifications::Create(), "cannot be opened as a library");
    } else {
        PrintSupport(document, Project::Create(), "cannot be opened as a project");
    }
    return kDone;
}

}  // namespace

Command commands::Info() {
    const auto document = std::make_shared<std::filesystem::path>();
    return {
        .name = "info",
        .summary = "Print what a document says of itself, without loading its objects",
        .options = {DocumentOption(*document, "the document; opened for reading only")},
        .details =
            "Printed are the class and ID of the root, how the versions of the stored classes suit this program, the\n"
            "number of objects of each class (the root included), the file's length and sector size in bytes, and the\n"
            "number of streams with the length of their content in bytes.\n"
            "Version support: 0 can be read and written, 1 written by a newer version and can be read, 3 needs a "
            "newer\n"
            "version, 7 of an old format without version information, -1 damaged version information.",
        .incomplete = "the answer could not be printed",
        .run = [document] { return RunInfo(*document); }};
}

}  // namespace lumvex::app
