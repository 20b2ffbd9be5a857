#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "commands/commands.hpp"
#include "objects/json.hpp"
#include "objects/opened.hpp"

namespace lumvex::app {

namespace {

struct GetArguments {
    std::filesystem::path document;
    std::string address;
    std::vector<std::string> properties;
    bool json = false;
};

// The shortest text of a number, which JSON's is not always.
std::string CellText(const Json& value) {
    if (value.is_string()) return value.get<std::string>();
    return value.is_number_float() ? DoubleText(value.get<double>()) : value.dump();
}

// Row after row, the columns separated by tabs.
void PrintTable(const VARIANT& array) {
    const Json whole = ArrayJson(array);
    const std::size_t rows = whole["rows"], columns = whole["columns"];
    const bool isFlat = columns == 1 && (rows == 0 || !whole["values"][0].is_array());
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t column = 0; column < columns; ++column) {
            const Json& value = isFlat ? whole["values"][row] : whole["values"][column][row];
            std::cout << (column == 0 ? "" : "\t") << CellText(value);
        }
        std::cout << '\n';
    }
}

Variant ValueOf(const Node& object, const Property& property) {
    try {
        return object.Get(*property.member, property.indexes);
    } catch (const Error& error) {
        throw PropertyError(property.Name() + " of " + PathOf(object) + " cannot be read: " + Describe(error));
    }
}

ExitStatus RunGet(const GetArguments& arguments) {
    const ReadDocument document(arguments.document);
    return OnObjects(arguments.document, "cannot be read", [&] {
        const Node object = document.Objects().Find(arguments.address);
        Paths paths;
        Json answer;
        std::vector<Property> wanted;
        for (const std::string& name : arguments.properties)
            for (Property& each : FindProperties(object.Type(), name)) wanted.push_back(std::move(each));
        for (const Property& property : wanted) {
            const Variant value = ValueOf(object, property);
            if (arguments.json) {
                answer[property.Name()] = ValueJson(property, value, ArrayForm::Whole, paths, document.Root());
            } else if (IsArray(value)) {
                PrintTable(value);
            } else {
                std::cout << ValueText(property, value, paths, document.Root()) << '\n';
            }
        }
        if (arguments.json) PrintJson(std::cout, wanted.size() == 1 ? answer.begin().value() : answer);
        return kDone;
    });
}

}  // namespace

Command commands::Get() {
    const auto arguments = std::make_shared<GetArguments>();
    return {
        .name = "get",
        .summary = "Print the value of an object's properties, and nothing else",
        .options =
            {DocumentOption(arguments->document, "the project or library; opened for reading only"),
             {"ADDRESS", &arguments->address, kShown, "the object", {.required = true}},
             {"PROPERTY", &arguments->properties, kShown, "its properties; \"show\" lists them", {.required = true}},
             {"--json", &arguments->json, {}, "print the value as JSON, several as an object"}},
        .details = std::string(kAddressHelp) +
                   "\nPROPERTY is a published name, regardless of case, or the beginning of one alone; FilterQHi(2) "
                   "is one\n"
                   "place of an indexed property, and FilterQHi all of them. Each value is printed on a line of its "
                   "own;\n"
                   "choices as words, dates as 2024-05-03T21:05:00 (local), references as addresses, arrays row after "
                   "row with\n"
                   "tabs between the columns.",
        .incomplete = "there is no such object or property",
        .run = [arguments] { return RunGet(*arguments); }};
}

}  // namespace lumvex::app
