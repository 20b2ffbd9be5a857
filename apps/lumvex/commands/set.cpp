#include <iostream>
#include <map>
#include <memory>

#include "command_line/run_options.hpp"
#include "commands/commands.hpp"
#include "files/text_encoding.hpp"
#include "objects/arrays.hpp"
#include "objects/opened.hpp"

namespace lumvex::app {

namespace {

struct SetArguments {
    std::filesystem::path document;
    std::string address;
    std::vector<std::string> assignments;
};

// What properties were set to, by their names.
using Wishes = std::map<std::string, std::string>;

// Says where the document answers something else after it was saved: a few properties are kept for the session only,
// are answered from elsewhere, or are changed by the ones that were set behind them.
ExitStatus Compare(const SetArguments& arguments, const std::u16string& id, const Wishes& wishes) {
    const ReadDocument document(arguments.document);
    return OnObjects(arguments.document, "cannot be read", [&] {
        ExitStatus status = kDone;
        const Node object = document.Objects().Find(ToUtf8(id));
        Paths paths;
        for (const auto& [name, wish] : wishes) {
            const Property property = FindProperties(object.Type(), name)[0];
            const std::string value = ValueText(object, property, paths);
            if (value == wish) continue;
            std::cerr << Utf8(arguments.document) << ": " << name << " is not kept as it was set: it is "
                      << Shown(FromUtf8(value)) << ", not " << Shown(FromUtf8(wish)) << ". " << property.member->meaning
                      << '\n';
            status = kIncomplete;
        }
        return status;
    });
}

ExitStatus RunSet(const SetArguments& arguments) {
    Wishes wishes;
    std::vector<std::string> lines;
    std::u16string id;
    EditedDocument document(arguments.document);
    OnObjects(arguments.document, "cannot be changed", [&] {
        const Node root = NodeOf(document.Any());
        const Addresses addresses(arguments.document, root);
        const Node object = addresses.FindOwn(arguments.address);
        if (!object.HasId()) throw PropertyError("configurations are fixed and cannot be changed");
        id = object.Id();
        for (const std::string& assignment : arguments.assignments) {
            const auto [name, value] = SplitAssignment(assignment);
            for (const Property& property : FindProperties(object.Type(), name)) {
                Paths paths;
                const std::string before = ValueText(object, property, paths);
                const Variant wish = SetText(object, property, value, addresses);
                // The elements of an array may be kept as another type.
                const std::string after =
                    IsArray(wish) ? ValueText(object, property, paths) : ValueText(property, wish, paths, root);
                std::string change = before;
                change.append(" -> ").append(after);
                lines.push_back(property.Name() + ": " + Shown(FromUtf8(change)));
                wishes[property.Name()] = after;
            }
        }
    });
    document.Save("cannot be saved, nothing was set");
    for (const std::string& line : lines) Reports() << line << '\n';
    return CurrentRun().dryRun ? kDone : Compare(arguments, id, wishes);
}

}  // namespace

Command commands::Set() {
    const auto arguments = std::make_shared<SetArguments>();
    return {
        .name = "set",
        .summary = "Set properties of an object",
        .use = DocumentUse::Changes,
        .options = {DocumentOption(arguments->document, "the project or library that is changed"),
                    {"ADDRESS", &arguments->address, kShown, "the object", {.required = true}},
                    {"NAME=VALUE", &arguments->assignments, kShown, "the properties", {.required = true}}},
        .details = std::string(kAddressHelp) +
                   "\nNAME is a published name (\"show\" lists them, \"help CLASS.PROPERTY\" explains one); "
                   "FilterQHi(2) is one place\n"
                   "of an indexed property, and FilterQHi all of them. VALUE is a number, perhaps with its unit "
                   "behind it, a word or\n"
                   "several joined with +, a text, a date (2024-05-03T21:05:00, local; or now), the address of an "
                   "object or none,\n"
                   "or an array as JSON, a list of columns: [[20,200],[84.5,86]]. All values are checked and set, or "
                   "none is.",
        .incomplete = "there is no such object or property, or a value is refused; nothing was set",
        .run = [arguments] { return RunSet(*arguments); }};
}

}  // namespace lumvex::app
