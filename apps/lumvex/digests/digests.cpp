#include "digests/digests.hpp"

#include <algorithm>
#include <fstream>
#include <optional>
#include <set>

#include "digests/sha256.hpp"
#include "documents/document.hpp"
#include "files/file_error.hpp"
#include "files/replaced_file.hpp"
#include "files/text_encoding.hpp"
#include "objects/opened.hpp"
#include "objects/walking.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kDigits = 64, kPart = std::size_t{1} << 20;

std::string HexDigits(std::span<const unsigned char> bytes) {
    std::string digits;
    for (const unsigned char byte : bytes) {
        digits += "0123456789abcdef"[byte >> 4];
        digits += "0123456789abcdef"[byte & 15];
    }
    return digits;
}

// Every save writes the versions of the program, and the root a second time for old programs.
bool IsLeftOut(const std::string& name) { return name == "VERSIONINFO-V000" || name == "ROOT"; }

// By name; none where the stream cannot be read.
using Found = std::map<std::string, std::optional<std::string>>;

Found DigestsOf(const fs::path& document, const Progress& progress) {
    Found found;
    std::vector<std::byte> part(kPart);
    std::size_t done = 0;
    ForEachStoredStream(document, [&](const StoredStream& stream, const ReadStream& read) {
        if (progress) progress(std::min(++done, stream.streams), stream.streams);
        if (IsLeftOut(stream.name)) return;
        std::optional<std::string>& digest = found[stream.name];
        try {
            Sha256 sum;
            for (std::uint64_t at = 0; at < stream.size; at += kPart) {
                const auto bytes = std::span(part).first(std::min<std::uint64_t>(kPart, stream.size - at));
                read(at, bytes);
                sum.Add(bytes);
            }
            digest = sum.Digest();
        } catch (const Error&) {  // none
        }
    });
    return found;
}

void NotePaths(const Node& node, Paths& paths, std::map<std::string, std::string>& byId) {
    if (node.HasId()) byId.emplace(ToUtf8(node.Id()), paths.Of(node));
    if (node.IsCollection()) {
        for (LONG place = 1; place <= node.Count(); ++place)
            if (const Node member = ReadableMember(node, place, [](const std::string&) {}))
                NotePaths(member, paths, byId);  // what cannot be read is known by its ID
        return;
    }
    for (const MemberDescription* child : ChildCollectionsOf(node.Type()))
        if (const Node below = node.Follow(*child)) NotePaths(below, paths, byId);
}

std::map<std::string, std::string> PathsById(const fs::path& document) {
    const ReadDocument opened(document);
    std::map<std::string, std::string> byId;
    Paths paths;
    OnDocument(document, "cannot be read", [&] { NotePaths(opened.Root(), paths, byId); });
    return byId;
}

// What people call a stream that is no object.
std::string PathOfStream(const std::string& name) {
    if (name == "ROOT-V200") return "/";
    if (name == "ROOTDIR-V100") return "(the object directory)";
    if (name == "LOCKS-V100") return "(the lock counters)";
    if (name == "PROJECTSETTINGS-V100") return "(the settings)";
    return "(unknown)";
}

struct Row {
    std::string digest, path;
};

std::map<std::string, Row> ReadRows(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw FileError(path, LastSystemError());
    std::map<std::string, Row> rows;
    std::string line;
    for (std::size_t number = 1; std::getline(file, line); ++number) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line.front() == '#') continue;
        const std::size_t name = kDigits + 2, end = line.find("  ", name);
        const bool isDigest = line.find_first_not_of("0123456789abcdefABCDEF") == kDigits;
        if (!isDigest || line.compare(kDigits, 2, "  ") != 0 || end == line.npos)
            throw FileError(path, number, "a digest, a name and a path with two blanks between them", Quoted(line));
        std::string digest = line.substr(0, kDigits);
        std::ranges::transform(digest, digest.begin(), [](char c) { return c >= 'A' && c <= 'F' ? char(c + 32) : c; });
        rows[line.substr(name, end - name)] = {std::move(digest), line.substr(end + 2)};
    }
    if (file.bad()) throw FileError(path, LastSystemError());
    return rows;
}

}  // namespace

std::string HexOf(const std::array<unsigned char, 32>& digest) { return HexDigits(digest); }

fs::path DigestFileOf(const fs::path& document) {
    fs::path path = document;
    return path += ".sha256";
}

std::size_t WriteDigests(const fs::path& document, const Progress& progress) {
    const auto paths = PathsById(document);
    const Found found = OnDocument(document, "cannot be read", [&] { return DigestsOf(document, progress); });
    const fs::path path = DigestFileOf(document);
    ReplacedFile replaced(path);
    std::ofstream file(replaced.Temporary(), std::ios::binary);
    file << "# SHA-256 of what " << Utf8(document.filename()) << " has stored of each object: digest, ID, path\n";
    for (const auto& [name, digest] : found) {
        if (!digest)
            throw DocumentError(document, "cannot be read", name + " is damaged; lumvex check names all that is");
        const auto known = paths.find(name);
        file << *digest << "  " << name << "  " << (known == paths.end() ? PathOfStream(name) : known->second) << '\n';
    }
    file.close();
    if (!file) throw FileError(path, LastSystemError());
    replaced.Commit();
    return found.size();
}

std::vector<DocumentProblem> CompareDigests(const fs::path& document, const Progress& progress) {
    const auto rows = ReadRows(DigestFileOf(document));
    std::vector<DocumentProblem> problems;
    Found found;
    std::string unreadable;
    try {
        found = DigestsOf(document, progress);
    } catch (const Error& error) {
        if (error.Status() == STG_E_FILENOTFOUND || error.Status() == STG_E_SHAREVIOLATION) throw;
        unreadable = Describe(error);
    }
    for (const auto& [name, row] : rows) {
        const auto now = found.find(name);
        const std::string where = name + " " + row.path;
        if (now == found.end())
            problems.push_back({where, unreadable.empty() ? "gone" : "cannot be read: " + unreadable});
        else if (!now->second)
            problems.push_back({where, "cannot be read"});
        else if (*now->second != row.digest)
            problems.push_back({where, "changed"});
    }
    std::map<std::string, std::string> paths;
    bool hasPaths = false;
    for (const auto& [name, digest] : found) {
        if (rows.contains(name)) continue;
        try {
            if (!std::exchange(hasPaths, true)) paths = PathsById(document);
        } catch (const std::runtime_error&) {  // then without its path
        }
        const auto path = paths.find(name);
        problems.push_back({name + " " + (path == paths.end() ? PathOfStream(name) : path->second), "new"});
    }
    return problems;
}

}  // namespace lumvex::app
