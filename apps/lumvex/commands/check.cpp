#include <iostream>
#include <memory>

#include "commands.hpp"
#include "digests/check_digests.hpp"
#include "document.hpp"
#include "files/text_encoding.hpp"
#include "lumvex/diagnostics.hpp"
#include "progress_line.hpp"

namespace lumvex::app {

namespace {

struct CheckArguments {
    std::filesystem::path document;
    DigestUse digests;
};

ExitStatus RunCheck(const CheckArguments& arguments) {
    const std::filesystem::path& document = arguments.document;
    ProgressLine progress("checking");
    std::vector<DocumentProblem> problems = CheckedWithDigests(document, arguments.digests, [&] {
        return OnDocument(document, "cannot be checked", [&] {
            return CheckDocument(document, [&](std::size_t done, std::size_t total) { progress.Show(done, total); });
        });
    });
    progress.Clear();
    const std::string name = Utf8(document);
    for (const DocumentProblem& problem : problems)
        std::cout << name << ": " << problem.where << ": " << problem.what << '\n';
    if (problems.empty()) {
        std::cout << name << ": sound\n";
    } else {
        std::cout << name << ": " << problems.size() << (problems.size() == 1 ? " problem\n" : " problems\n");
    }
    return problems.empty() ? kDone : kIncomplete;
}

}  // namespace

Command commands::Check() {
    const auto arguments = std::make_shared<CheckArguments>();
    return {.name = "check",
            .summary = "Check the structure of a document's file and every record in it",
            .options = {DocumentOption(arguments->document, "the document; read, never changed"),
                        DigestOption(arguments->digests), RenewOption(arguments->digests)},
            .details =
                "All of the file is read: the compound file's tables and chains, the root's streams, the object "
                "directory and\n"
                "every object's record. Each problem is printed on a line of its own with its place.\n\n" +
                std::string(kDigestHelp),
            .incomplete = "problems were found",
            .run = [arguments] { return RunCheck(*arguments); }};
}

}  // namespace lumvex::app
