#include <iostream>
#include <memory>

#include "command_line/run_options.hpp"
#include "commands/commands.hpp"
#include "files/text_encoding.hpp"
#include "objects/adding.hpp"
#include "objects/copying.hpp"
#include "objects/opened.hpp"
#include "objects/walking.hpp"

namespace lumvex::app {

namespace {

struct CopyArguments {
    std::filesystem::path document, into;
    std::string address, collection;
    std::optional<std::string> name;
    bool replace = false;
};

// Some collections want each name once: there a copy is made under its own name from the start.
Node Beside(Copier& copier, const Node& object, const Node& collection, const CopyArguments& arguments) {
    try {
        return copier.Into(object, collection);
    } catch (const Error&) {
        const std::vector<Ingredient> ingredients = IngredientsOf(collection.Type());
        if (!arguments.name || ingredients.empty() || ingredients[0].type) throw;
        const Variant name = Variant::FromText(FromUtf8(*arguments.name));
        Node copy = AddMember(collection, {&name, 1});
        copier.Contents(object, copy);
        return copy;
    }
}

Node CopiedInto(Copier& copier, const Node& object, const Addresses& addresses, const CopyArguments& arguments) {
    if (!arguments.collection.empty())
        return Beside(copier, object, CollectionFor(object.Type(), addresses.FindOwn(arguments.collection)), arguments);
    if (arguments.into.empty()) {
        addresses.RequireOwn(arguments.address, object);
        return Beside(copier, object, object.Parent(), arguments);
    }
    Node existing = copier.CounterpartOf(object);
    if (!existing) return copier.WithParents(object);
    if (!arguments.replace)
        throw PropertyError(PathOf(existing) +
                            " is there already; --replace gives it the content, --to copies beside it");
    copier.Contents(object, existing);
    return existing;
}

// Copies in the document that is changed, from itself or from another one.
ExitStatus Copy(const CopyArguments& arguments, EditedDocument& document, const Addresses& from) {
    std::vector<std::string> lines, left;
    OnObjects(document.Path(), "cannot be changed", [&] {
        const Node root = NodeOf(document.Any());
        const Addresses addresses(document.Path(), root);
        Copier copier(root);
        Paths paths;
        std::vector<Node> copies;
        for (const Node& object : Outermost(from.FindAll(arguments.address))) {
            const std::string path = paths.Of(object);
            if (!object.Is(Kind::Item)) throw PropertyError(path + " is no item, and cannot be copied");
            if (!arguments.into.empty() && object.Root().Class() != root.Class())
                throw PropertyError(path + " is of a " + TypeName(object.Root().Type()) + ", and the document a " +
                                    TypeName(root.Type()));
            try {
                copies.push_back(CopiedInto(copier, object, addresses, arguments));
            } catch (const Error& error) {
                throw PropertyError(path + " cannot be copied: " + Describe(error));
            }
            const Property name{object.Type().Find("Name"), {}};
            if (arguments.name) SetText(copies.back(), name, *arguments.name, addresses);
            lines.push_back(path + " -> ");
        }
        left = copier.MendReferences();
        Paths after;
        for (std::size_t at = 0; at < copies.size(); ++at) lines[at] += after.Of(copies[at]);
    });
    document.Save("cannot be saved, nothing was copied");
    for (const std::string& line : lines) Reports() << line << '\n';
    for (const std::string& each : left) std::cerr << each << " is no object of that document or its library\n";
    return kDone;
}

ExitStatus RunCopy(const CopyArguments& arguments) {
    if (arguments.into.empty()) {
        EditedDocument document(arguments.document);
        return Copy(arguments, document, Addresses(arguments.document, NodeOf(document.Any())));
    }
    const ReadDocument source(arguments.document);
    EditedDocument document(arguments.into, DocumentUse::Makes);
    return Copy(arguments, document, source.Objects());
}

}  // namespace

Command commands::Copy() {
    const auto arguments = std::make_shared<CopyArguments>();
    return {.name = "copy",
            .summary = "Copy objects with everything below them, in a document or into another one",
            .use = DocumentUse::Changes,
            .options = {DocumentOption(arguments->document, "the project or library; with --into it is only read"),
                        {"ADDRESS", &arguments->address, kShown, "the objects", {.required = true}},
                        {"--into", &arguments->into, kFile, "another document, made if there is no such file"},
                        {"--to",
                         &arguments->collection,
                         {"COLLECTION"},
                         "the collection, or its owner; if not given, the same one"},
                        {"--name", &arguments->name, {"NAME"}, "what the copy is called"},
                        {"--replace",
                         &arguments->replace,
                         {},
                         "give an object that is in the other document already the content",
                         {.needs = {"--into"}, .excludes = {"--to"}}}},
            .details =
                std::string(kAddressHelp) +
                "\nWhat is below another object that is copied goes with that. In another document the copy gets to "
                "the same\n"
                "place; the speakers, rooms and so on that it belongs to are made where they are missing. Copies refer "
                "to the copies\n"
                "made with them, or to what is at the same address there; standard error names what is missing.",
            .incomplete = "there is no such object, or its copy is refused; nothing was copied",
            .run = [arguments] { return RunCopy(*arguments); }};
}

}  // namespace lumvex::app
