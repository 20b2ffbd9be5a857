#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "command_line/run_options.hpp"
#include "commands/commands.hpp"
#include "files/text_encoding.hpp"
#include "objects/comparing.hpp"
#include "objects/json.hpp"
#include "objects/matching.hpp"
#include "objects/opened.hpp"

namespace lumvex::app {

namespace {

struct DiffArguments {
    std::filesystem::path before, after;
    std::string address = "/";
    bool json = false;
};

Json Described(const Node& object, Paths& paths) {
    return {{"address", paths.Of(object)}, {"class", object.Class()->name}, {"ID", ToUtf8(object.Id())}};
}

ExitStatus RunDiff(const DiffArguments& arguments) {
    const ReadDocument before(arguments.before), after(arguments.after);
    if (before.Root().Class() != after.Root().Class())
        throw FileError(arguments.after, "it is a " + TypeName(after.Root().Type()) + ", the other document a " +
                                             TypeName(before.Root().Type()));
    Json added = Json::array(), removed = Json::array(), changed = Json::array();
    std::size_t objects = 0, unreadable = 0;
    const auto tell = [&](const std::filesystem::path& document) {
        return [&](const std::string& problem) {
            ++unreadable;
            std::cerr << Utf8(document) << ": " << problem << '\n';
        };
    };
    OnObjects(arguments.after, "cannot be compared", [&] {
        const Matching matching(before.Root(), after.Root(), arguments.address, tell(arguments.before),
                                tell(arguments.after));
        Comparison comparison;
        Paths left, right;
        for (const Node& each : matching.Removed()) {
            if (arguments.json) removed.push_back(Described(each, left));
            if (!arguments.json) std::cout << "- " << left.Of(each) << '\n';
        }
        for (const auto& [one, other] : matching.Pairs()) {
            const std::vector<Difference> differences = comparison.Of(one, other);
            if (differences.empty()) continue;
            ++objects;
            Json json = Described(other, right);
            if (!arguments.json) std::cout << "~ " << right.Of(other) << '\n';
            for (const Difference& each : differences) {
                if (arguments.json) json["differences"].push_back(DifferenceJson(each));
                if (!arguments.json) std::cout << "    " << DifferenceText(each) << '\n';
            }
            changed.push_back(std::move(json));
        }
        for (const Node& each : matching.Added()) {
            if (arguments.json) added.push_back(Described(each, right));
            if (!arguments.json) std::cout << "+ " << right.Of(each) << '\n';
        }
        objects += matching.Removed().size() + matching.Added().size();
        Reports() << matching.Removed().size() << " removed, " << changed.size() << " changed, "
                  << matching.Added().size() << " added\n";
    });
    if (arguments.json) PrintJson(std::cout, {{"removed", removed}, {"changed", changed}, {"added", added}});
    return unreadable != 0 ? kDocumentFailed : objects == 0 ? kDone : kIncomplete;
}

}  // namespace

Command commands::Diff() {
    const auto arguments = std::make_shared<DiffArguments>();
    return {
        .name = "diff",
        .summary = "Say how two documents differ, object by object and property by property",
        .options = {DocumentOption(arguments->before, "the older project or library; read, never changed"),
                    {"DOC2", &arguments->after, kShown, "the newer one; read, never changed", {.required = true}},
                    {"ADDRESS", &arguments->address, kShown, "compare what is below this object alone"},
                    {"--json", &arguments->json, {}, "print the differences as JSON"}},
        .details =
            "Objects are the same object when they have one ID, or else one address. Lines with - are the addresses "
            "of what is\n"
            "only in DOC, lines with + of what is only in DOC2; below a line with ~ are the properties that differ. "
            "Arrays are\n"
            "compared bit for bit, and told by their largest difference.",
        .incomplete = "the documents differ",
        .run = [arguments] { return RunDiff(*arguments); }};
}

}  // namespace lumvex::app
