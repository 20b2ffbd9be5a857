#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "commands/commands.hpp"
#include "objects/json.hpp"
#include "objects/opened.hpp"

namespace lumvex::app {

namespace {

struct ShowArguments {
    std::filesystem::path document;
    std::vector<std::string> addresses;
    bool json = false;
};

struct ShownLine {
    std::string name, value, unit, meaning;
};

// A value that cannot be read is told beside the others.
std::string TextOf(const Node& object, const Property& property, Paths& paths) {
    try {
        return Shown(FromUtf8(ValueText(object, property, paths)));
    } catch (const Error& error) {
        return "cannot be read: " + Describe(error);
    }
}

std::vector<ShownLine> LinesOf(const Node& object, Paths& paths) {
    std::vector<ShownLine> lines;
    for (const MemberDescription* member : ShownProperties(object.Type())) {
        for (const Property& place : PlacesOf(*member)) {
            const std::string value = TextOf(object, place, paths);
            lines.push_back({place.Name(), value, std::string(UnitOf(*member)), std::string(member->meaning)});
        }
    }
    for (const MemberDescription* child : ChildCollectionsOf(object.Type())) {
        const LONG count = object.Follow(*child).Count();
        lines.push_back({std::string(child->name), std::to_string(count), count == 1 ? "member" : "members",
                         std::string(child->meaning)});
    }
    return lines;
}

void Print(const Node& object, Paths& paths) {
    std::cout << paths.Of(object) << "\n" << TypeName(object.Type()) << ": " << object.Type().meaning << "\n\n";
    const std::vector<ShownLine> lines = LinesOf(object, paths);
    std::size_t nameWidth = 0, valueWidth = 0;
    constexpr std::size_t kMostWidth = 28;
    const auto valueOf = [](const ShownLine& line) { return line.value + (line.unit.empty() ? "" : ' ' + line.unit); };
    for (const ShownLine& line : lines) {
        nameWidth = std::max(nameWidth, line.name.size());
        valueWidth = std::max(valueWidth, std::min(kMostWidth, valueOf(line).size()));
    }
    const std::string* last = nullptr;  // places of one property have one meaning
    for (const ShownLine& line : lines) {
        const std::string value = valueOf(line);
        const bool isTold = last && *last == line.meaning;
        std::cout << "  " << line.name << std::string(nameWidth + 2 - line.name.size(), ' ') << value;
        if (!isTold)
            std::cout << std::string(2 + (value.size() < valueWidth ? valueWidth - value.size() : 0), ' ')
                      << line.meaning;
        std::cout << '\n';
        last = &line.meaning;
    }
}

ExitStatus RunShow(const ShowArguments& arguments) {
    const ReadDocument document(arguments.document);
    std::vector<std::string> addresses = arguments.addresses;
    if (addresses.empty()) addresses.emplace_back("/");
    Paths paths;
    Json all = Json::array();
    bool isFirst = true;
    for (const std::string& address : addresses) {
        OnObjects(arguments.document, "cannot be read", [&] {
            for (const Node& object : document.Objects().FindAll(address)) {
                if (arguments.json) {
                    all.push_back(ObjectJson(object, ArrayForm::Summary, paths));
                } else {
                    if (!std::exchange(isFirst, false)) std::cout << '\n';
                    Print(object, paths);
                }
            }
        });
    }
    if (arguments.json) PrintJson(std::cout, all);
    return kDone;
}

}  // namespace

Command commands::Show() {
    const auto arguments = std::make_shared<ShowArguments>();
    return {
        .name = "show",
        .summary = "Show every property of objects, with its unit and its meaning",
        .options = {DocumentOption(arguments->document, "the project or library; opened for reading only"),
                    {"ADDRESS", &arguments->addresses, kShown, "the objects; the document itself when there is none"},
                    {"--json", &arguments->json, {}, "print a JSON list of objects"}},
        .details = std::string(kAddressHelp) +
                   "\n"
                   "Of arrays the shape, the type, the range, the greatest magnitude with its place and the first "
                   "values are\n"
                   "shown; \"get\" prints all values.",
        .incomplete = "there is no such object",
        .run = [arguments] { return RunShow(*arguments); }};
}

}  // namespace lumvex::app
