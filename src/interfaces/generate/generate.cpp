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

// A type that names no known interface would only show when a client is compiled; it is refused here.
void CheckTypes() {
    for (const Interface& each : Interfaces()) {
        for (const Member& member : each.members) {
            if (!IsPointer(member.type) || Pointee(member.type) == "IUnknown" || Pointee(member.type) == "IDispatch") continue;
            if (FindInterface(Pointee(member.type))) continue;
            throw std::invalid_argument(std::string(each.name) + "." + std::string(member.name) + " names " +
                                        std::string(member.type) + ", which no table declares");
        }
    }
}

void PrintAll(const Directory& directory) {
    CheckTypes();
    directory.Put("include/lumvex/interfaces.hpp", PrintInterfaces);
    directory.Put("include/lumvex/lumvex.hpp", PrintProjection);
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
