#include "digests/check_digests.hpp"

#include <iostream>
#include <system_error>

#include "command_line/progress_line.hpp"
#include "command_line/run_options.hpp"
#include "digests/digests.hpp"
#include "documents/document.hpp"
#include "files/text_encoding.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

const char* const kDigestHelp =
    "The format has no sums, so that a changed number is no problem of its structure. With --digest the SHA-256 of "
    "what "
    "is stored\n"
    "of each object is kept beside the document, in DOC.sha256: the first time it is written, from then on compared; "
    "objects\n"
    "that were changed, are new or are gone are problems. After changes that were meant, --renew writes the file anew. "
    "It is\n"
    "text: a line for each object with the digest, the ID and the path.";

Option DigestOption(DigestUse& digests) {
    return {"--digest", &digests.use, {}, "compare each object with its SHA-256 in DOC.sha256, or write that file"};
}

Option RenewOption(DigestUse& digests) {
    return {"--renew", &digests.renew, {}, "write DOC.sha256 anew", {.needs = {"--digest"}}};
}

std::vector<DocumentProblem> CheckedWithDigests(const fs::path& document, const DigestUse& digests,
                                                const std::function<std::vector<DocumentProblem>()>& check) {
    if (!digests.use) return check();
    std::error_code ignored;
    const bool compares = !digests.renew && fs::exists(DigestFileOf(document), ignored);
    std::vector<DocumentProblem> problems;
    try {
        problems = check();
    } catch (const DocumentError& error) {
        if (!compares || !fs::exists(document, ignored)) throw;
        problems.push_back({"file", error.what()});
    }
    ProgressLine progress("comparing");
    const auto show = [&](std::size_t done, std::size_t total) { progress.Show(done, total); };
    if (compares) {
        const auto changed = OnDocument(document, "cannot be checked", [&] { return CompareDigests(document, show); });
        problems.insert(problems.end(), changed.begin(), changed.end());
    } else if (problems.empty()) {
        const std::size_t count = WriteDigests(document, show);
        progress.Clear();
        Reports() << Utf8(DigestFileOf(document)) << ": written, " << count << " digests\n";
    }
    return problems;
}

}  // namespace lumvex::app
