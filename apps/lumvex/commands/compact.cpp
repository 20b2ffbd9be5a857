#include <iostream>
#include <memory>

#include "arguments.hpp"
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

void AddCompact(CLI::App& app, Command& chosen) {
    const auto document = std::make_shared<std::filesystem::path>();
    CLI::App* command = app.add_subcommand("compact", "Write a document's file anew, as short as it can be");
    AddDocument(*command, *document, "the document; nobody else may have it open");
    command->footer(
        "Saving leaves room in a file that later saves use. This command takes it out. The new file is written beside the\n"
        "old one and takes its name when it is complete, so that nothing is lost whatever happens; there has to be room\n"
        "for both. The content does not change.\n\n" +
        ExitStatusHelp("the answer could not be printed"));
    command->callback([document, &chosen] { chosen = [document] { return RunCompact(*document); }; });
}

}  // namespace lumvex::app
