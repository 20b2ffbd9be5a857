#include "measurements/object_files.hpp"

#include <cerrno>
#include <fstream>
#include <iostream>

#include "command_line/run_options.hpp"
#include "files/replaced_file.hpp"
#include "files/text_encoding.hpp"
#include "measurements/piped_input.hpp"
#include "objects/exchange.hpp"
#include "objects/walking.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

bool IsObjectFile(const fs::path& path) { return LowerExtension(path) == ".json"; }

bool HoldsObjects(const fs::path& path) {
    if (!IsPiped(path)) return IsObjectFile(path);
    char first = 0;
    return PipedInput(path) >> first && first == '{';
}

ExitStatus ExportObjects(const ReadDocument& document, std::vector<std::string> addresses, const fs::path& output,
                         bool force) {
    if (addresses.empty()) addresses.emplace_back("/");
    std::vector<Node> objects;
    for (const std::string& address : addresses)
        for (Node& each : document.Objects().FindAll(address)) objects.push_back(std::move(each));
    objects = Outermost(objects);
    ExitStatus status = kDone;
    const auto unreadable = [&](const std::string& problem) {
        std::cerr << Utf8(document.Path()) << ": " << problem << '\n';
        status = kIncomplete;
    };
    if (IsStandardOutput(output)) {
        WriteObjects(std::cout, objects, unreadable);
        return status;
    }
    CheckMayWrite(output, force);
    ReplacedFile file(output);
    std::ofstream stream(file.Temporary(), std::ios::binary);
    WriteObjects(stream, objects, unreadable);
    stream.close();
    if (!stream) throw FileError(output, LastSystemError());
    file.Commit();
    Reports() << objects.size() << (objects.size() == 1 ? " object" : " objects")
              << " with everything below written to " << Utf8(output) << '\n';
    return status;
}

std::vector<std::string> ImportObjects(EditedDocument& document, const fs::path& path, bool replace) {
    std::ifstream file;
    errno = 0;
    if (!IsPiped(path)) file.open(path, std::ios::binary);
    if (!file) throw FileError(path, LastSystemError());
    std::istream& stream = IsPiped(path) ? static_cast<std::istream&>(PipedInput(path)) : file;
    try {
        const Node root = NodeOf(document.Any());
        return OnDocument(document.Path(), "cannot be changed", [&] {
            return ReadObjects(stream, Addresses(document.Path(), root, Addresses::Names::Whole), root, replace);
        });
    } catch (const PropertyError& error) {
        throw FileError(path, error.what());
    }
}

}  // namespace lumvex::app
