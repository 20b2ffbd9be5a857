#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "command_line/run_options.hpp"
#include "commands/commands.hpp"
#include "documents/documents_in.hpp"
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
          isPath_(pattern_.find(u'/') != pattern_.npos) {
        if (!arguments.id.empty()) id_ = ToText(*ParseGuid(FromUtf8(arguments.id)));
    }

    Findings In(const fs::path& path, bool namesDocument) const {
        Findings findings;
        try {
            const ReadDocument document(path);
            OnDocument(path, "cannot be read", [&] {
                Paths paths;
                const auto add = [&](const Node& item) {
                    if (Fits(item, paths)) Add(item, paths, path, namesDocument, findings);
                };
                ForEachItem(document.Root(), add, [&](const std::string& problem) {
                    findings.problem += (findings.problem.empty() ? "" : "\n") + Utf8(path) + ": " + problem;
                });
            });
        } catch (const std::exception& error) {
            findings.problem = error.what();
        }
        return findings;
    }

private:
    bool Fits(const Node& item, Paths& paths) const {
        if (className_ && item.Class() != className_) return false;
        if (!id_.empty() && item.Id() != id_) return false;
        const std::u16string text = isPath_ ? FromUtf8(paths.Of(item)) : item.Name();
        return FitsPattern(text, hasPattern_ ? pattern_ : u'*' + pattern_ + u'*');
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
    bool hasPattern_, isPath_;
};

// Searches the documents and prints what is found in their order.
ExitStatus RunFind(const FindArguments& arguments) {
    const Search finder(arguments);
    const std::vector<fs::path> places = arguments.places.empty() ? std::vector<fs::path>{"."} : arguments.places;
    const std::vector<fs::path> documents = DocumentsIn(places);
    const bool namesDocuments = documents.size() != 1 || fs::is_directory(places[0]);
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
                     kShown,
                     "a part of the name, or a pattern for all of it",
                     {.required = true}},
                    {"DOC", &arguments->places, kShown,
                     "documents, and folders that are searched for .lvp and .lvs; this folder if there is none"},
                    {"--class", &arguments->className, {"CLASS", ProblemOfClass}, "only objects of the class"},
                    {"--id", &arguments->id, {"ID", ProblemOfId}, "only the object of the ID"},
                    {"--json", &arguments->json, {}, "print a JSON list of what is found"}},
        .details =
            "A pattern has * for any characters or ? for any one; letter case does not matter. One with a slash in it "
            "has to fit\n"
            "the whole address instead of the name: \"SpeakerEQs/*/Measurements/On*\". '' fits all names. Addresses "
            "are printed\n"
            "as all commands take them, behind the document where several are searched.",
        .incomplete = "nothing was found",
        .run = [arguments] { return RunFind(*arguments); }};
}

}  // namespace lumvex::app
