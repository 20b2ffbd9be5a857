#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "command_line/colours.hpp"
#include "command_line/progress_line.hpp"
#include "commands/commands.hpp"
#include "digests/check_digests.hpp"
#include "documents/document.hpp"
#include "documents/documents_in.hpp"
#include "files/text_encoding.hpp"
#include "lumvex/diagnostics.hpp"
#include "measurements/linked_library.hpp"
#include "objects/json.hpp"

namespace lumvex::app {

namespace {

struct CheckArguments {
    std::vector<std::filesystem::path> places;
    DigestUse digests;
    bool json = false;
};

Json ProblemsJson(const std::vector<DocumentProblem>& problems) {
    Json json = Json::array();
    for (const DocumentProblem& each : problems) json.push_back({{"where", each.where}, {"what", each.what}});
    return json;
}

// Checks documents one after the other. One that cannot be opened is reported, and the others are checked.
class CheckRun {
public:
    explicit CheckRun(const CheckArguments& arguments) : arguments_(arguments) {}

    ExitStatus Run() {
        const auto [documents, unsearched] = DocumentsIn(arguments_.places);
        std::size_t sound = 0;
        ExitStatus status = kDone;
        for (const std::filesystem::path& document : documents) {
            try {
                const bool isSound = Check(document);
                sound += isSound;
                if (!isSound) status = std::max(status, kIncomplete);
            } catch (const DocumentError& error) {
                progress_.Clear();
                std::cerr << OnErrors(Colour::Bad, error.what()) << '\n';
                all_.push_back({{"document", Utf8(document)}, {"error", error.what()}});
                status = kDocumentFailed;
            }
        }
        for (const std::string& problem : unsearched) std::cerr << OnErrors(Colour::Bad, problem) << '\n';
        if (!unsearched.empty()) status = kDocumentFailed;
        if (arguments_.json) PrintJson(std::cout, all_);
        if (documents.size() != 1) Reports() << sound << " of " << documents.size() << " documents are sound\n";
        return status;
    }

private:
    // Whether nothing was found.
    bool Check(const std::filesystem::path& document) {
        DocumentCheck check;
        const auto follow = [&](std::size_t done, std::size_t total) { progress_.Show(done, total); };
        const std::vector<DocumentProblem> problems = CheckedWithDigests(document, arguments_.digests, [&] {
            OnDocument(document, "cannot be checked",
                       [&] { WhenFree([&] { check = ExamineDocument(document, follow); }); });
            return check.problems;
        });
        progress_.Clear();
        const bool hasLibrary = !check.library || FindLibrary(document, *check.library);
        const std::string name = Utf8(document);
        if (arguments_.json) {
            all_.push_back({{"document", name},
                            {"sound", problems.empty()},
                            {"problems", ProblemsJson(problems)},
                            {"lost", ProblemsJson(check.lost)}});
            if (check.library) all_.back()["library"] = LibraryJson(*check.library, hasLibrary);
        } else {
            Print(name, problems);
            Print(name, check.lost);
            if (!hasLibrary)
                std::cout << name << ": the library that it is linked to was not found: "
                          << Shown(FromUtf8(check.library->path)) << '\n';
            const std::string verdict = Verdict(problems.size(), check.lost.size() + (hasLibrary ? 0 : 1));
            const bool isGood = problems.empty() && check.lost.empty() && hasLibrary;
            if (!isGood || !CurrentRun().quiet)
                std::cout << name << ": " << OnOutput(isGood ? Colour::Good : Colour::Bad, verdict) << '\n';
        }
        return problems.empty() && check.lost.empty() && hasLibrary;
    }

    static void Print(const std::string& document, const std::vector<DocumentProblem>& problems) {
        for (const DocumentProblem& each : problems)
            std::cout << document << ": " << each.where << ": " << each.what << '\n';
    }

    // "the structure is sound, but 2 references lead nowhere"
    static std::string Verdict(std::size_t problems, std::size_t lost) {
        std::string text = problems == 0   ? "the structure is sound"
                           : problems == 1 ? "1 problem"
                                           : std::to_string(problems) + " problems";
        if (lost != 0)
            text += (problems == 0 ? ", but " : ", and ") +
                    (lost == 1 ? std::string("1 reference leads") : std::to_string(lost) + " references lead") +
                    " nowhere";
        return text;
    }

    const CheckArguments& arguments_;
    ProgressLine progress_{"checking object"};
    Json all_ = Json::array();
};

}  // namespace

Command commands::Check() {
    const auto arguments = std::make_shared<CheckArguments>();
    return {.name = "check",
            .summary = "Check the structure of documents' files and every record in them",
            .options = {{"DOC",
                         &arguments->places,
                         kShown,
                         "documents, which are never changed, and folders of them (.lvp, .lvs)",
                         {.required = true}},
                        DigestOption(arguments->digests),
                        RenewOption(arguments->digests),
                        {"--json", &arguments->json, {}, "print a JSON list of documents and what was found in them"}},
            .details =
                "All of a file is read: the compound file's tables and chains, the root's streams, the object "
                "directory and\n"
                "every object's record. Each problem is printed on a line of its own with its place, and so are "
                "references to\n"
                "objects that the document or its library does not have, links without a target, and a library that "
                "is not\n"
                "where the project has it and not beside the project. What a sound structure holds may still be wrong: "
                "--digest\n"
                "finds changed content.\n\n" +
                std::string(kDigestHelp),
            .incomplete = "problems were found, or references that lead nowhere",
            .run = [arguments] { return CheckRun(*arguments).Run(); }};
}

}  // namespace lumvex::app
