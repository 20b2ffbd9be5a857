#include "measurements/object_files.hpp"

#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>

#include "command_line/run_options.hpp"
#include "files/replaced_file.hpp"
#include "files/text_encoding.hpp"
#include "objects/exchange.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

bool IsObjectFile(const fs::path& path) { return LowerExtension(path) == ".json"; }

ExitStatus ExportObjects(const ReadDocument& document, std::vector<std::string> addresses, const fs::path& output,
                         bool force) {
    if (addresses.empty()) addresses.emplace_back("/");
    std::vector<Node> objects;
    for (const std::string& address : addresses)
        for (Node& each : document.Objects().FindAll(address)) objects.push_back(std::move(each));
    if (output == "-") {
        WriteObjects(std::cout, objects);
        return kDone;
    }
    std::error_code ignored;
    if (!force && fs::exists(fs::symlink_status(output, ignored)))
        throw FileError(output, "the file exists already; --force replaces it");
    ReplacedFile file(output);
    std::ofstream stream(file.Temporary(), std::ios::binary);
    WriteObjects(stream, objects);
    stream.close();
    if (!stream) throw FileError(output, LastSystemError());
    file.Commit();
    Reports() << objects.size() << (objects.size() == 1 ? " object" : " objects")
              << " with everything below written to " << Utf8(output) << '\n';
    return kDone;
}

std::vector<std::string> ImportObjects(EditedDocument& document, const fs::path& path, bool replace) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) throw FileError(path, LastSystemError());
    try {
        const Json json = Json::parse(stream);
        const Node root = NodeOf(document.Any());
        return OnDocument(document.Path(), "cannot be changed",
                          [&] { return ReadObjects(json, Addresses(document.Path(), root), root, replace); });
    } catch (const Json::parse_error& error) {
        throw FileError(path, error.what());
    } catch (const PropertyError& error) {
        throw FileError(path, error.what());
    }
}

}  // namespace lumvex::app
