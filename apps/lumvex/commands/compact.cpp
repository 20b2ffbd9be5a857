#include <iostream>
#include <memory>

#include "commands.hpp"
#include "document.hpp"
#include "files/text_encoding.hpp"
#include "lumvex/maintenance.hpp"
#include "progress_line.hpp"

namespace lumvex::app {

namespace {

ExitStatus RunCompact(const std::filesystem::path& document) {
    ProgressLine progress("compacting");
    const Compaction done = OnDocument(document, "cannot be compacted", [&] {
        return CompactDocument(document, [&](std::size_t at, std::size_t total) { progress.Show(at, total); });
    });
    progress.Clear();
    std::cout << Utf8(document) << ": " << done.bytesBefore << " bytes before, " << done.bytesAfter << " now\n";
    return kDone;
}

}  // namespace

Command commands::Compact() {
    const auto document = std::make_shared<std::filesystem::path>();
    return {.name = "compact",
            .summary = "Write a document's file anew, as short as it can be",
            .options = {DocumentOption(*document, "the document; nobody else may have it open")},
            .details =
                "Saving leaves room in a file that later saves use. This command takes it out. The new file is written "
                "beside the\n"
                "old one and takes its name when it is complete, so that nothing is lost whatever happens; there has "
                "to be room\n"
                "for both. The content does not change.",
            .incomplete = "the answer could not be printed",
            .run = [document] { return RunCompact(*document); }};
}

}  // namespace lumvex::app
