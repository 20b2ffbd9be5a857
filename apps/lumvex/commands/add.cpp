#include <algorithm>
#include <memory>

#include "commands/commands.hpp"
#include "objects/adding.hpp"
#include "objects/changing.hpp"

namespace lumvex::app {

namespace {

struct AddArguments {
    std::filesystem::path document;
    std::string collection, what;
    std::vector<std::string> assignments;
};

// An object that goes with the new member; a configuration is looked for in what the owner refers to first, such as the
// model of a speaker.
Variant TargetFor(const InterfaceDescription& type, const Node& collection, const std::string& text,
                  const Addresses& addresses) {
    const Node owner = collection.Parent();
    for (const MemberDescription* each : PropertiesOf(owner.Type())) {
        const Node nearby = IsReference(*each) ? owner.Follow(*each) : Node();
        if (!nearby) continue;
        try {
            const Node found = addresses.Find(nearby, text);
            if (&found.Type() == &type) return Variant::FromDispatch(found.Pointer());
        } catch (const FileError&) {  // it is elsewhere
        }
    }
    return Variant::FromDispatch(addresses.FindTarget(type, text).Pointer());
}

// Takes the assignment to the property that an ingredient becomes out of the list.
const std::string* TakeFor(const Ingredient& ingredient, const InterfaceDescription& member,
                           std::vector<const std::string*>& assignments) {
    for (auto each = assignments.begin(); each != assignments.end(); ++each) {
        const auto [name, value] = SplitAssignment(**each);
        const std::vector<Property> properties = FindProperties(member, name);
        if (properties[0].member != ingredient.property) continue;
        const std::string* taken = *each;
        assignments.erase(each);
        return taken;
    }
    return nullptr;
}

ExitStatus RunAdd(const AddArguments& arguments) {
    EditedDocument document(arguments.document);
    return ChangeAndSave(document, [&] {
        const Addresses addresses(arguments.document, NodeOf(document.Any()));
        const Node collection = CollectionOf(addresses.FindOwn(arguments.collection));
        const InterfaceDescription& member = MemberTypeOf(collection.Type());
        if (!AddOf(collection.Type()))
            throw PropertyError("the members of " + PathOf(collection) + " are fixed; nothing can be added");
        std::vector<const std::string*> assignments;
        for (const std::string& each : arguments.assignments) assignments.push_back(&each);
        std::vector<Variant> values;
        bool isFirst = true;
        for (const Ingredient& each : IngredientsOf(collection.Type())) {
            if (std::exchange(isFirst, false)) {
                values.push_back(each.type ? TargetFor(*each.type, collection, arguments.what, addresses)
                                           : Variant::FromText(FromUtf8(arguments.what)));
            } else if (const std::string* given = TakeFor(each, member, assignments)) {
                const std::string value(SplitAssignment(*given).value);
                values.push_back(TargetFor(*each.type, collection, value, addresses));
            } else {
                break;
            }
        }
        const LONG before = collection.Count();
        const Node added = AddMember(collection, values);
        for (const std::string* each : assignments) Assign(added, *each, addresses);
        return PathOf(added) + (collection.Count() == before ? ": was there already" : ": added");
    });
}

}  // namespace

Command commands::Add() {
    const auto arguments = std::make_shared<AddArguments>();
    return {
        .name = "add",
        .summary = "Add an object to a collection",
        .use = DocumentUse::Changes,
        .options = {DocumentOption(arguments->document, "the project or library that is changed"),
                    {"COLLECTION",
                     &arguments->collection,
                     kShown,
                     "the address of the collection, or of its owner",
                     {.required = true}},
                    {"NAME",
                     &arguments->what,
                     kShown,
                     "the new object's name; of a link or configuration the address of what it is for",
                     {.required = true}},
                    {"NAME=VALUE", &arguments->assignments, kShown, "properties that it gets, as \"set\" takes them"}},
        .details =
            std::string(kAddressHelp) +
            "\nA speaker of a model is added with Model=Acme/Alpha, one of its configurations by the word for it "
            "(bi-amp), a\n"
            "measurement that was taken with a set-up with Experiment=\"On axis\". Standard error says the address of "
            "the new object.",
        .incomplete = "there is no such collection, or a value is refused; nothing was added",
        .run = [arguments] { return RunAdd(*arguments); }};
}

}  // namespace lumvex::app
