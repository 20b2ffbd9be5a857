// Writes a project and a library with one of everything, and prints what the library says of them: a line for each
// value of each object, its parts between tabs. The other end of format_test.py.
//
//     write_everything FOLDER
#include <cstdio>
#include <filesystem>
#include <iostream>

#include "kit/everything.hpp"
#include "lumvex/lumvex.hpp"

namespace lumvex::tests {
namespace {

std::string NumberText(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%.17g", number);
    return text;
}

std::string TextOfValue(const Property& property, const Value& value) {
    if (property.IsText()) return ToUtf8(value.AsText());
    if (property.IsArray()) {
        if (!value.array) return "no array";
        std::string all = std::to_string(value.array->type);
        for (const auto& bound : value.array->bounds)
            all += " " + std::to_string(bound.lower) + ".." +
                   std::to_string(bound.lower + static_cast<LONG>(bound.count) - 1);
        all += " ";
        for (const std::byte each : value.array->bytes) {
            constexpr char kDigits[] = "0123456789abcdef";
            all += kDigits[static_cast<unsigned>(each) / 16];
            all += kDigits[static_cast<unsigned>(each) % 16];
        }
        return all;
    }
    return NumberText(value.number);
}

void Print(const char* document, Node& root) {
    ForEach(root, [&](const Node& node) {
        const auto print = [&](std::string_view property, const std::string& value) {
            std::cout << document << '\t' << ToUtf8(node.id) << '\t' << node.table->name << '\t' << property << '\t'
                      << value << '\n';
        };
        const ClassTable& table = *node.table;
        if (node.IsItem()) {
            print("name", ToUtf8(node.name));
            print("timestamp", NumberText(node.timestamp));
        }
        for (const Property& property : table.properties) {
            std::string values;
            for (LONG place = 0; place < property.Places(); ++place)
                values += (place > 0 ? " " : "") +
                          TextOfValue(property, node.values[property.firstPlace + static_cast<std::size_t>(place)]);
            if (!property.transient) print(property.name, values);
        }
        for (std::size_t at = 0; at < table.references.size(); ++at) {
            const Target& target = node.references[at];
            print(table.references[at].name, ToUtf8(target.item ? target.item->id : target.libraryId));
        }
        for (std::size_t at = 0; at < table.children.size(); ++at)
            print(table.children[at].name, ToUtf8(node.below[at]->id));
        if (!node.IsCollection()) return;
        std::string members;
        for (const Node* member : node.below) members += (members.empty() ? "" : " ") + ToUtf8(member->id);
        print("members", members);
    });
}

void WriteInto(const std::filesystem::path& folder) {
    const Everything everything;
    everything.Fill(1);
    for (const auto& [table, name] :
         {std::pair{&LibraryTable(), "everything.lvs"}, {&ProjectTable(), "everything.lvp"}}) {
        IDispatch* root = everything.Of(*table);
        const auto tree = ReadTree(*table, root);  // it asks for every collection, and what was asked for is saved
        const Bstr path((folder / name).u16string());
        if (DoLate(root, member::kSaveFileAs, {TextArgument(path.get())}).status != S_OK) throw Wrong("not saved");
        Print(name, *tree->root);
    }
}

}  // namespace
}  // namespace lumvex::tests

int main(int, char** arguments) try { lumvex::tests::WriteInto(arguments[1]); } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
