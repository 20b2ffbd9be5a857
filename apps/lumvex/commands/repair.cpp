#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <system_error>

#include "command_line/progress_line.hpp"
#include "command_line/run_options.hpp"
#include "commands/commands.hpp"
#include "documents/document.hpp"
#include "files/replaced_file.hpp"
#include "files/text_encoding.hpp"
#include "lumvex/maintenance.hpp"
#include "objects/json.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

struct RepairArguments {
    fs::path document, out;
    bool json = false;
};

void Print(const Salvage& salvage, const RepairArguments& arguments) {
    if (arguments.json) {
        Json losses = Json::array();
        for (const DocumentProblem& loss : salvage.losses)
            losses.push_back({{"where", loss.where}, {"what", loss.what}});
        return PrintJson(std::cout, {{"objects", salvage.objects}, {"losses", losses}});
    }
    for (const DocumentProblem& loss : salvage.losses)
        std::cout << Utf8(arguments.document) << ": " << Shown(FromUtf8(loss.where)) << ": " << loss.what << '\n';
}

ExitStatus RunRepair(const RepairArguments& arguments) {
    if (IsDevice(arguments.out))
        throw DocumentError(arguments.out, "cannot be made", "it is a device or pipe, no file");
    std::error_code ignored;
    if (fs::exists(fs::symlink_status(arguments.out, ignored)))
        throw DocumentError(arguments.out, "cannot be made", "there is a file of this name already");
    ProgressLine progress("repairing");
    const Salvage salvage = OnDocument(arguments.document, "cannot be repaired", [&] {
        return WhenFree([&] {
            return SalvageDocument(arguments.document, arguments.out,
                                   [&](std::size_t done, std::size_t total) { progress.Show(done, total); });
        });
    });
    progress.Clear();
    Print(salvage, arguments);
    Reports() << Utf8(arguments.out) << ": created with " << salvage.objects
              << (salvage.objects == 1 ? " object; " : " objects; ")
              << (salvage.losses.empty()       ? "nothing was lost"
                  : salvage.losses.size() == 1 ? "1 loss"
                                               : std::to_string(salvage.losses.size()) + " losses")
              << '\n';
    return salvage.losses.empty() ? kDone : kIncomplete;
}

}  // namespace

Command commands::Repair() {
    const auto arguments = std::make_shared<RepairArguments>();
    return {
        .name = "repair",
        .summary = "Make a new document of what can still be read of a damaged one",
        .options = {DocumentOption(arguments->document, "the damaged document; read, never changed"),
                    {"OUT", &arguments->out, kShown, "the new document, which must not exist yet", {.required = true}},
                    {"--json", &arguments->json, {}, "print the report as JSON"}},
        .details =
            "Neither the beginning of the file nor its tables have to be sound: objects are found by what is left of "
            "the tables\n"
            "and of the file's directory, else by their own content. Each loss is printed on a line of its own: "
            "objects "
            "of which\n"
            "nothing was found, parts of arrays (which are 0 then), references that lead nowhere (which are none "
            "then). "
            "Objects\n"
            "whose place is lost are put where objects of their kind belong, if need be below an item \"Recovered\"; "
            "the "
            "report\n"
            "says where. It names objects as doubtful whose record may be another one, of an earlier save or at "
            "another "
            "place,\n"
            "or may be that of an object of another kind; what they may be as well is in OUT too. The document has no "
            "sums:\n"
            "bytes that were overwritten with others that make sense are not noticed, unless there are digests (lumvex "
            "check\n"
            "--digest).",
        .incomplete = "something was lost",
        .run = [arguments] { return RunRepair(*arguments); }};
}

}  // namespace lumvex::app
