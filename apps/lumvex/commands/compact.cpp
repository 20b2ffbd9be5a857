#include <iostream>
#include <memory>

#include "command_line/interruption.hpp"
#include "command_line/progress_line.hpp"
#include "command_line/run_options.hpp"
#include "commands/commands.hpp"
#include "documents/document.hpp"
#include "files/text_encoding.hpp"
#include "lumvex/maintenance.hpp"

namespace lumvex::app {

namespace {

ExitStatus RunCompact(const std::filesystem::path& document) {
    DocumentIsBeingChanged();
    ProgressLine progress("compacting");
    SavingNow saving;
    const auto follow = [&](std::size_t at, std::size_t total) {
        saving.Continue();
        progress.Show(at, total);
    };
    const auto compact = CurrentRun().dryRun ? TryCompactDocument : CompactDocument;
    const Compaction done = OnDocument(document, "cannot be compacted",
                                       [&] { return WhenFree([&] { return compact(document, follow); }); });
    saving.Done();
    progress.Clear();
    if (CurrentRun().dryRun) std::cerr << Utf8(document) << ": not changed, as this is a dry run\n";
    Reports() << Utf8(document) << ": " << done.bytesBefore << " bytes before, " << done.bytesAfter << " now\n";
    return kDone;
}

}  // namespace

Command commands::Compact() {
    const auto document = std::make_shared<std::filesystem::path>();
    return {.name = "compact",
            .summary = "Write a document's file anew, as short as it can be",
            .use = DocumentUse::Changes,
            .options = {DocumentOption(*document, "the document; nobody else may have it open")},
            .details =
                "Saving leaves room in a file that later saves use. This command takes it out. The new file is written "
                "beside the\n"
                "old one and takes its name when it is complete, so that nothing is lost whatever happens; there has "
                "to be room\n"
                "for both. The content does not change. With --dry-run the new file is made in memory.",
            .incomplete = "the answer could not be printed",
            .run = [document] { return RunCompact(*document); }};
}

}  // namespace lumvex::app
