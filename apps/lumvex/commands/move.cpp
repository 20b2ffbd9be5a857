#include <memory>

#include "commands/commands.hpp"
#include "objects/adding.hpp"
#include "objects/changing.hpp"
#include "objects/copying.hpp"

namespace lumvex::app {

namespace {

struct MoveArguments {
    std::filesystem::path document;
    std::string address, collection;
};

Node Moved(const Node& item, const Node& collection, const Node& root) {
    if (collection.Id() == item.Parent().Id()) throw PropertyError(PathOf(item) + " is in that collection already");
    try {
        Copier copier(root);
        Node moved = copier.Into(item, collection);
        copier.TakeOverReferences();
        RemoveFromCollection(item);
        return moved;
    } catch (const Error& error) {
        throw PropertyError(PathOf(item) + " cannot be moved: " + Describe(error));
    }
}

ExitStatus RunMove(const MoveArguments& arguments) {
    return ChangeItem(arguments.document, arguments.address, " is no item, and cannot be moved",
                      [&](const Node& item, const Node& root, const Addresses& addresses) {
                          const Node place = addresses.FindOwn(arguments.collection);
                          return Moved(item, CollectionFor(item.Type(), place), root);
                      });
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
