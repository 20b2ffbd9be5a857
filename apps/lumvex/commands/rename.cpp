#include <memory>

#include "commands/commands.hpp"
#include "objects/changing.hpp"

namespace lumvex::app {

namespace {

struct RenameArguments {
    std::filesystem::path document;
    std::string address, name;
};

ExitStatus RunRename(const RenameArguments& arguments) {
    return ChangeItem(arguments.document, arguments.address, " is no item; its name is fixed",
                      [&](const Node& item, const Node&, const Addresses&) {
                          SetPlain(item, {item.Type().Find("Name"), {}}, arguments.name);
                          return item;
                      });
}

}  // namespace

Command commands::Rename() {
    const auto arguments = std::make_shared<RenameArguments>();
    return {.name = "rename",
            .summary = "Give an object another name",
            .use = DocumentUse::Changes,
            .options = {DocumentOption(arguments->document, "the project or library that is changed"),
                        {"ADDRESS", &arguments->address, kShown, "the object", {.required = true}},
                        {"NAME", &arguments->name, kShown, "its new name, taken as it is", {.required = true}}},
            .details = std::string(kAddressHelp) +
                       "\nThe ID stays, and with it whatever refers to the object. Objects of a collection may share a "
                       "name, but for\n"
                       "crossover designs.",
            .incomplete = "there is no such object, or the name is refused; nothing was renamed",
            .run = [arguments] { return RunRename(*arguments); }};
}

}  // namespace lumvex::app
