#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

#include "command_line/run_options.hpp"
#include "commands/commands.hpp"
#include "documents/documents_in.hpp"
#include "documents/folders.hpp"
#include "documents/processes.hpp"
#include "files/text_encoding.hpp"
#include "objects/json.hpp"
#include "objects/opened.hpp"
#include "objects/walking.hpp"

namespace lumvex::app {

namespace fs = std::filesystem;

namespace {

struct FindArguments {
    std::string pattern;
    std::vector<fs::path> places;
    std::string className, id;
    bool json = false;
};

std::string ProblemOfClass(const std::string& name) {
    return FindClass(name) ? "" : "there is no class " + name + "; \"tree --json\" prints the classes of objects";
}

std::string ProblemOfPattern(const std::string& pattern) {
    if (pattern.find('/') == pattern.npos) return {};
    try {
        StepsOf(pattern);
        return {};
    } catch (const std::invalid_argument& problem) {
        return Quoted(pattern) + ": " + problem.what();
    }
}

std::string ProblemOfId(const std::string& text) {
    return ParseGuid(FromUtf8(text)) ? "" : "an ID looks like {5281BFCB-CB56-4B5D-A88E-D0B028D7B626}";
}

// What was found in one document, or why it could not be searched.
struct Findings {
    std::string text, problem;
    Json objects = Json::array();
    std::size_t count = 0;

    // As bytes, on the way from another process.
    std::string Packed() const {
        std::string bytes;
        Json::to_cbor({text, problem, objects, count}, bytes);
        return bytes;
    }
    static Findings Unpacked(const std::string& bytes) {
        Json packed = Json::from_cbor(bytes);
        return {packed[0].get<std::string>(), packed[1].get<std::string>(), std::move(packed[2]),
                packed[3].get<std::size_t>()};
    }
};

class Search {
public:
    explicit Search(const FindArguments& arguments)
        : arguments_(arguments),
          pattern_(FromUtf8(arguments.pattern)),
          className_(arguments.className.empty() ? nullptr : FindClass(arguments.className)),
          hasPattern_(pattern_.find_first_of(u"*?") != pattern_.npos),
          isAddress_(pattern_.find(u'/') != pattern_.npos) {
        if (!arguments.id.empty()) id_ = ToText(*ParseGuid(FromUtf8(arguments.id)));
    }

    Findings In(const fs::path& path, bool namesDocument) const {
        Findings findings;
        try {
            const ReadDocument document(path);
            OnDocument(path, "cannot be read", [&] {
                Paths paths;
                const Node& root = document.Root();
                const std::set<std::u16string> addressed = Addressed(path, root);
                const auto add = [&](const Node& item) {
                    if (Fits(item, addressed)) Add(item, paths, path, namesDocument, findings);
                };
                ForEachItem(root, add, [&](const std::string& problem) {
                    findings.problem += (findings.problem.empty() ? "" : "\n") + Utf8(path) + ": " + problem;
                });
            });
        } catch (const std::exception& error) {
            findings.problem = error.what();
        }
        return findings;
    }

private:
    // The IDs of what the pattern fits as an address.
    std::set<std::u16string> Addressed(const fs::path& path, const Node& root) const {
        std::set<std::u16string> ids;
        if (!isAddress_) return ids;
        try {
            for (const Node& each : Addresses(path, root).FindAll(arguments_.pattern))
                if (each.HasId()) ids.insert(each.Id());
        } catch (const FileError&) {
            return ids;  // there is none
        }
        return ids;
    }

    bool Fits(const Node& item, const std::set<std::u16string>& addressed) const {
        if (className_ && item.Class() != className_) return false;
        const std::u16string id = item.Id();
        if (!id_.empty() && id != id_) return false;
        return addressed.contains(id) || FitsPattern(item.Name(), hasPattern_ ? pattern_ : u'*' + pattern_ + u'*');
    }

    void Add(const Node& item, Paths& paths, const fs::path& path, bool namesDocument, Findings& findings) const {
        ++findings.count;
        if (arguments_.json) {
            Json json{{"document", Utf8(path)}, {"address", paths.Of(item)}, {"class", item.Class()->name}};
            json["ID"] = ToUtf8(item.Id());
            json["Name"] = TextJson(item.Name());
            findings.objects.push_back(std::move(json));
        } else {
            findings.text += (namesDocument ? Utf8(path) + ": " : "") + paths.Of(item) + '\n';
        }
    }

    const FindArguments& arguments_;
    std::u16string pattern_, id_;
    const ClassDescription* className_;
    bool hasPattern_, isAddress_;
};

// Who gives nothing but --class or --id and a document has left out the pattern, which then is the document.
bool LacksPattern(const FindArguments& arguments) {
    const fs::path path(FromUtf8(arguments.pattern));
    std::error_code ignored;
    return arguments.places.empty() && IsDocumentName(path) && fs::is_regular_file(path, ignored);
}

// Searches the documents and prints what is found in their order.
ExitStatus RunFind(const FindArguments& arguments) {
    if (LacksPattern(arguments)) {
        std::cerr << "lumvex find: PATTERN is missing in front of " << arguments.pattern
                  << "; '' fits all names\n"
                     "`lumvex help find` says all about it.\n";
        return kWrongUsage;
    }
    const Search finder(arguments);
    const std::vector<fs::path> places = arguments.places.empty() ? std::vector<fs::path>{"."} : arguments.places;
    const FoundDocuments there = DocumentsIn(places);
    const std::vector<fs::path>& documents = there.paths;
    const bool namesDocuments = documents.size() != 1 || IsFolder(places[0]);
    std::size_t found = 0, failed = 0;
    Json all = Json::array();
    const auto search = [&](std::size_t at) { return finder.In(documents[at], namesDocuments).Packed(); };
    std::vector<std::string> jobs(documents.size());
    std::ranges::transform(documents, jobs.begin(), [](const fs::path& each) { return Utf8(each); });
    InProcesses(jobs, search, [&](const std::string& answer) {
        const Findings each = Findings::Unpacked(answer);
        std::cout << each.text;
        if (!each.problem.empty()) std::cerr << each.problem << '\n';
        failed += each.problem.empty() ? 0 : 1;
        found += each.count;
        all.insert(all.end(), each.objects.begin(), each.objects.end());
    });
    for (const std::string& problem : there.problems) std::cerr << problem << '\n';
    failed += there.problems.size();
    if (arguments.json) PrintJson(std::cout, all);
    if (documents.size() != 1)
        Reports() << found << (found == 1 ? " object" : " objects") << " found in " << documents.size()
                  << " documents\n";
    return failed != 0 ? kDocumentFailed : found != 0 ? kDone : kIncomplete;
}

}  // namespace

Command commands::Find() {
    const auto arguments = std::make_shared<FindArguments>();
    return {
        .name = "find",
        .summary = "Find objects by name, class or ID in documents and folders of documents",
        .use = DocumentUse::None,
        .options = {{"PATTERN",
                     &arguments->pattern,
                     {"", ProblemOfPattern},
                     "a part of the name, a pattern for all of it, or an address",
                     {.required = true}},
                    {"DOC", &arguments->places, kShown,
                     "documents, and folders that are searched for .lvp and .lvs; this folder if there is none"},
                    {"--class", &arguments->className, {"CLASS", ProblemOfClass}, "only objects of the class"},
                    {"--id", &arguments->id, {"ID", ProblemOfId}, "only the object of the ID"},
                    {"--json", &arguments->json, {}, "print a JSON list of what is found"}},
        .details =
            "A pattern has * for any characters or ? for any one; letter case does not matter, and '' fits all names. "
            "One with a\n"
            "slash in it is an address as other commands take them, whose steps may be patterns: "
            "\"Left/*/Measurements/On*\",\n"
            "\"Exp*/O*\", and \"Rooms/**/L*\", where ** is any number of steps (\"lumvex help show\" says all about "
            "them).\n"
            "Addresses are printed as all commands take them, behind the document where several are searched.",
        .incomplete = "nothing was found",
        .run = [arguments] { return RunFind(*arguments); }};
}

}  // namespace lumvex::app
