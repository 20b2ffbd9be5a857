#include <iostream>
#include <memory>

#include "commands.hpp"
#include "objects/adding.hpp"
#include "objects/copying.hpp"
#include "objects/opened.hpp"
#include "run_options.hpp"

namespace lumvex::app {

namespace {

struct MoveArguments {
    std::filesystem::path document;
    std::string address, collection;
};

ExitStatus RunMove(const MoveArguments& arguments) {
    EditedDocument document(arguments.document);
    std::string before, after;
    OnObjects(arguments.document, "cannot be changed", [&] {
        const Node root = NodeOf(document.Any());
        const Addresses addresses(arguments.document, root);
        const Node object = addresses.Find(arguments.address);
        before = PathOf(object);
        if (!object.Is(Kind::Item)) throw PropertyError(before + " is no item, and cannot be moved");
        const Node from = object.Parent();
        const Node to = CollectionFor(object.Type(), addresses.Find(arguments.collection));
        if (to.Id() == from.Id()) throw PropertyError(before + " is in that collection already");
        try {
            Copier copier(root);
            const Node moved = copier.Into(object, to);
            copier.TakeOverReferences();
            RemoveFromCollection(object);
            after = PathOf(moved);
        } catch (const Error& error) {
            throw PropertyError(before + " cannot be moved: " + Describe(error));
        }
    });
    document.Save("cannot be saved, nothing was moved");
    Reports() << before << " -> " << after << '\n';
    return kDone;
}

}  // namespace

Command commands::Move() {
    const auto arguments = std::make_shared<MoveArguments>();
    return {
        .name = "move",
        .summary = "Move an object into another collection of the document",
        .use = DocumentUse::Changes,
        .options = {DocumentOption(arguments->document, "the project or library that is changed"),
                    {"ADDRESS", &arguments->address, kShown, "the object", {.required = true}},
                    {"COLLECTION",
                     &arguments->collection,
                     kShown,
                     "the address of the collection, or of its owner",
                     {.required = true}}},
        .details = std::string(kAddressHelp) +
                   "\nEverything below the object goes along. It gets another ID, and what referred to it refers to "
                   "it again.",
        .incomplete = "there is no such object or collection, or it does not hold such objects; nothing was moved",
        .run = [arguments] { return RunMove(*arguments); }};
}

}  // namespace lumvex::app
