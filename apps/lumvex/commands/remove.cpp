#include <algorithm>
#include <iostream>
#include <memory>
#include <set>

#include "command_line/run_options.hpp"
#include "commands/commands.hpp"
#include "files/text_encoding.hpp"
#include "objects/adding.hpp"
#include "objects/opened.hpp"
#include "objects/walking.hpp"

namespace lumvex::app {

namespace {

struct RemoveArguments {
    std::filesystem::path document;
    std::vector<std::string> addresses;
    bool force = false;
};

struct Referring {
    Node item;
    const MemberDescription* reference;
};

// What else in the document refers to one of the objects.
std::vector<Referring> ReferencesTo(const std::set<std::u16string>& ids, const Node& root,
                                    const Unreadable& unreadable) {
    std::vector<Referring> found;
    const auto look = [&](const Node& item) {
        if (ids.contains(item.Id())) return;
        for (const MemberDescription* each : ContentOf(item.Type())) {
            if (!IsReference(*each)) continue;
            const Node target = item.Follow(*each);
            if (target && target.HasId() && ids.contains(target.Id())) found.push_back({item, each});
        }
    };
    ForEachItem(root, look, unreadable);
    return found;
}

// A link takes no target but a real one.
bool IsLink(const Node& item) { return item.Get(*item.Type().Find("IsLink")).lVal != 0; }

void CheckRemovable(const Node& object, const std::string& path) {
    if (!object.Is(Kind::Item))
        throw PropertyError(path + " is no item; its members are " + Quoted(path == "/" ? "*" : path + "/*"));
    if (!AddOf(object.Parent().Type())) throw PropertyError(path + " is always there and cannot be removed");
}

ExitStatus RunRemove(const RemoveArguments& arguments) {
    EditedDocument document(arguments.document);
    std::vector<std::string> lines;
    OnObjects(arguments.document, "cannot be changed", [&] {
        const Node root = NodeOf(document.Any());
        const Addresses addresses(arguments.document, root);
        Paths paths;
        std::vector<Node> chosen;
        std::set<std::u16string> ids;  // of these and of what is below them
        for (const std::string& address : arguments.addresses) {
            for (const Node& object : addresses.FindAllOwn(address)) {
                CheckRemovable(object, paths.Of(object));
                if (ids.contains(object.Id())) continue;
                chosen.push_back(object);
                std::size_t count = 0;
                ForEachItem(object, [&](const Node& each) {
                    ids.insert(each.Id());
                    ++count;
                });
                lines.push_back(paths.Of(object) + ": removed" +
                                (count == 1 ? "" : ", with " + std::to_string(count - 1) + " below it"));
            }
        }
        const auto tell = [&](const std::string& problem) {
            std::cerr << Utf8(arguments.document) << ": " << problem << "; what it refers to is not known\n";
        };
        const std::vector<Referring> references = ReferencesTo(ids, root, tell);
        for (const Referring& each : references)
            std::cerr << paths.Of(each.item) << ": " << each.reference->name << " refers to it\n";
        if (!references.empty() && !arguments.force)
            throw PropertyError("nothing was removed; --force empties what refers to it");
        for (const Referring& each : references)
            if (!IsLink(each.item)) each.item.Put(*each.reference, {}, Variant::FromDispatch(nullptr));
        for (const Node& object : chosen) {
            const std::string path = paths.Of(object);
            try {
                RemoveFromCollection(object);
            } catch (const Error& error) {
                throw PropertyError(path + " cannot be removed: " + Describe(error));
            }
        }
    });
    document.Save("cannot be saved, nothing was removed");
    for (const std::string& line : lines) Reports() << line << '\n';
    return kDone;
}

}  // namespace

Command commands::Remove() {
    const auto arguments = std::make_shared<RemoveArguments>();
    return {.name = "remove",
            .summary = "Remove objects, with everything below them",
            .use = DocumentUse::Changes,
            .options = {DocumentOption(arguments->document, "the project or library that is changed"),
                        {"ADDRESS", &arguments->addresses, kShown, "the objects", {.required = true}},
                        {"--force",
                         &arguments->force,
                         {},
                         "also what others refer to; the references become none, and links lead nowhere"}},
            .details = std::string(kAddressHelp) +
                       "\n\"Data/*\" is all named data. All of the objects are removed, or none "
                       "is. \"compact\"\n"
                       "gives the space back to the disk.",
            .incomplete = "there is no such object, or something refers to it; nothing was removed",
            .run = [arguments] { return RunRemove(*arguments); }};
}

}  // namespace lumvex::app
