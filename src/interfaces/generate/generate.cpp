// Prints everything that is made from the interface tables into a directory, each file only if its text has changed.
//
//     lumvex_generate DIRECTORY
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "interfaces/generate/printing.hpp"

namespace lumvex::tables {
namespace {

class Directory {
public:
    explicit Directory(std::filesystem::path path) : path_(std::move(path)) {}

    template <class Printer>
    void Put(const std::string& name, Printer&& print) const {
        std::ostringstream printed;
        print(printed);
        const std::string text = printed.str();
        const std::filesystem::path file = path_ / name;
        if (TextOf(file) == text) return;  // who includes it need not be compiled again
        std::filesystem::create_directories(file.parent_path());
        std::ofstream out(file, std::ios::binary);
        out << text;
        out.close();
        if (!out) throw std::runtime_error("cannot write " + file.string());
    }

private:
    static std::string TextOf(const std::filesystem::path& file) {
        std::ifstream in(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    std::filesystem::path path_;
};

[[noreturn]] void Refuse(std::string_view owner, std::string_view name, const std::string& why) {
    throw std::invalid_argument(std::string(owner) + "." + std::string(name) + " " + why);
}

// A mistake in the tables would show late, when a client is compiled or a user reads a help text; it is refused here.
void Check() {
    for (const Interface& each : Interfaces()) {
        for (const Member& member : each.members) {
            if (member.meaning.empty()) Refuse(each.name, member.name, "has no meaning");
            if (!IsPointer(member.type) || Pointee(member.type) == "IUnknown" || Pointee(member.type) == "IDispatch")
                continue;
            if (FindInterface(Pointee(member.type))) continue;
            Refuse(each.name, member.name, "names " + std::string(member.type) + ", which no table declares");
        }
    }
    for (const Enumeration& each : Enumerations())
        for (const Constant& one : each.constants)
            for (const Constant& other : each.constants)
                if (&one != &other && !one.word.empty() && one.word == other.word)
                    Refuse(each.name, one.name, "has the word of " + std::string(other.name));
    for (const Class& each : Classes())
        if (!FindInterface(each.interfaceName))
            Refuse(each.name, each.interfaceName, "is an interface that no table declares");
}

void PrintAll(const Directory& directory) {
    Check();
    directory.Put("include/lumvex/interfaces.hpp", PrintInterfaces);
    directory.Put("include/lumvex/lumvex.hpp", PrintProjection);
    directory.Put("include/lumvex/members.hpp", PrintMembers);
    for (const Interface& each : Interfaces()) {
        const std::string name(each.name);
        directory.Put("made/published/" + name + ".hpp", [&](std::ostream& out) { PrintBodies(out, each); });
        directory.Put("made/published/" + name + "_dispatch.cpp", [&](std::ostream& out) { PrintDispatch(out, each); });
    }
    for (const BaseClass& each : BaseClasses())
        directory.Put("made/published/" + std::string(each.interfaceName) + ".cpp",
                      [&](std::ostream& out) { PrintSharedCalls(out, each); });
    for (const Class& each : Classes())
        directory.Put("made/published/" + std::string(each.name) + ".cpp",
                      [&](std::ostream& out) { PrintClass(out, each); });
    directory.Put("made/published/classes.hpp", PrintClassList);
    directory.Put("made/published/slots.hpp", PrintSlots);
    directory.Put("made/python/classes.hpp", PrintPythonTable);
    directory.Put("made/python/_classes.pyi", PrintPythonStub);
    directory.Put("reference.md", PrintManual);
    directory.Put("Lumvex51.idl", PrintDefinition);
}

}  // namespace
}  // namespace lumvex::tables

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: lumvex_generate DIRECTORY\n";
        return 2;
    }
    try {
        lumvex::tables::PrintAll(lumvex::tables::Directory(argv[1]));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "lumvex_generate: " << error.what() << "\n";
        return 1;
    }
}
