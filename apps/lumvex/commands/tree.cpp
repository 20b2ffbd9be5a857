#include <charconv>
#include <iostream>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>

#include "commands/commands.hpp"
#include "files/text_encoding.hpp"
#include "lumvex/diagnostics.hpp"
#include "objects/adding.hpp"
#include "objects/json.hpp"
#include "objects/opened.hpp"

namespace lumvex::app {

namespace {

struct TreeArguments {
    std::filesystem::path document;
    std::string address = "/";
    std::string depth;
    bool ids = false, paths = false, json = false, statistics = false;
};

std::string ProblemOfDepth(const std::string& text) {
    int depth = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), depth);
    const bool isGood = error == std::errc{} && end == text.data() + text.size() && depth >= 0;
    return isGood ? "" : "DEPTH is a whole number from 0 on";
}

// Prints objects without reading the elements of their arrays.
class TreePrinter {
public:
    explicit TreePrinter(const TreeArguments& arguments) : arguments_(arguments), document_(arguments.document) {}

    ExitStatus Run() {
        if (!arguments_.depth.empty()) depth_ = std::stoi(arguments_.depth);
        OnObjects(arguments_.document, "cannot be read", [&] {
            const Node from = document_.Objects().Find(arguments_.address);
            if (arguments_.json) {
                PrintJson(std::cout, JsonOf(from, 0));
            } else {
                Print(from, 0);
            }
        });
        if (arguments_.statistics) {
            const LoadStatistics statistics = StatisticsOf(RootOf(document_.Any()).Get());
            std::cerr << loaded_ << (loaded_ == 1 ? " object" : " objects") << " loaded to answer, "
                      << statistics.objectsLoaded << " still in memory, " << statistics.bytesRead << " bytes read\n";
        }
        return status_;
    }

private:
    void Line(int depth, const std::string& text, const Node& object) {
        std::cout << std::string(2 * static_cast<std::size_t>(depth), ' ') << text;
        if (arguments_.ids && object.HasId()) std::cout << "  " << ToUtf8(object.Id());
        if (arguments_.paths) std::cout << "  " << paths_.Of(object);
        std::cout << '\n';
    }

    // Calls use(member) for each member of a collection. One that cannot be read is reported, and the others are used.
    template <class Use>
    void Members(const Node& collection, Use use) {
        const LONG count = collection.Count();
        for (LONG place = 1; place <= count && std::cout; ++place) {
            try {
                const Node member = collection.Member(place);
                ++loaded_;
                use(member);
            } catch (const Error& error) {
                std::cerr << Utf8(arguments_.document) << ": member " << place << " of " << paths_.Of(collection)
                          << " cannot be read: " << Describe(error) << '\n';
                status_ = kDocumentFailed;
            }
        }
    }

    void Print(const Node& object, int depth) {
        if (object.IsCollection()) {
            PrintCollection(object, depth);
            return;
        }
        const std::string what = object.Is(Kind::Root) ? TypeName(object.Type()) + ' ' +
                                                             Shown(FromUtf8(Utf8(arguments_.document.filename())))
                                                       : Shown(object.Name());
        Line(depth, what + Told(object), object);
        if (depth >= depth_) return;
        for (const MemberDescription* each : ChildCollectionsOf(object.Type())) {
            const Node collection = object.Follow(*each);
            if (!IsAsMade(collection, NewObject(object.Type()).Follow(*each))) PrintCollection(collection, depth + 1);
        }
    }

    void PrintCollection(const Node& collection, int depth) {
        ++loaded_;
        const Node owner = collection.Parent();
        Line(depth, std::string(PropertyOf(owner, collection)) + " (" + std::to_string(collection.Count()) + ')',
             collection);
        if (depth < depth_) Members(collection, [&](const Node& member) { Print(member, depth + 1); });
    }

    // Is the collection, with everything below it, as its owner had it when it was made?
    bool IsAsMade(const Node& collection, const Node& made) {
        const LONG count = collection.Count();
        if (count != made.Count()) return false;
        for (LONG place = 1; place <= count; ++place) {
            const Node member = collection.Member(place), other = made.Member(place);
            if (member.Name() != other.Name() || Told(member) != Told(other)) return false;
            for (const MemberDescription* each : ChildCollectionsOf(member.Type()))
                if (!IsAsMade(member.Follow(*each), other.Follow(*each))) return false;
        }
        return true;
    }

    // What is not as in a new item: shapes of arrays, settings, targets of references; of links also that there is
    // none. The main array and its sample rate come first.
    std::string Told(const Node& object) {
        if (object.Is(Kind::Root)) return {};
        std::string main, arrays, settings;
        for (const MemberDescription* member : ContentOf(object.Type())) {
            const auto shape = IsArrayProperty(*member) ? ShapeOf(*object.Pointer(), *member) : std::nullopt;
            if (!shape) continue;
            const bool isMain = member->name == "Data";
            (isMain ? main : arrays) +=
                "  " + (isMain ? "" : std::string(member->name) + ' ') + ShapeText(shape->counts);
        }
        const MemberDescription* rate = object.Type().Find("SampleRate");
        if (!main.empty() && rate) {
            const std::string value = ValueText(object, {rate, {}}, paths_);
            if (value != "0") main += "  " + value + " Hz";
        }
        for (const MemberDescription* member : ContentOf(object.Type()))
            if (IsSetting(*member) && (main.empty() || member != rate)) settings += ChangedText(object, *member);
        return main + arrays + settings + References(object);
    }

    std::string References(const Node& object) {
        std::string text;
        for (const MemberDescription* member : ShownProperties(object.Type())) {
            if (!IsReference(*member) || !FindClassDescription(member->objectInterface->name) || !member->keptSince)
                continue;
            const Node target = object.Follow(*member);
            if (target || IsLink(object))
                text += "  " + std::string(member->name) + " -> " +
                        (target ? TargetText(target, object.Root(), paths_) : "none");
        }
        return text;
    }

    static bool IsLink(const Node& item) {
        const MemberDescription* isLink = item.Type().Find("IsLink");
        return isLink && item.Get(*isLink).lVal == 1;
    }

    static bool IsSetting(const MemberDescription& member) {
        const bool isKept = member.keptSince || member.name == "Locks";
        return isKept && IsValue(member) && !IsArrayProperty(member);
    }

    std::string ChangedText(const Node& object, const MemberDescription& member) {
        std::string text;
        for (const Property& place : PlacesOf(member)) {
            const std::string value = ValueText(object, place, paths_);
            if (value != DefaultText(object, place)) text += "  " + place.Name() + '=' + Shown(FromUtf8(value));
        }
        return text;
    }

    const std::string& DefaultText(const Node& object, const Property& place) {
        auto& known = defaults_[{place.member, place.indexes}];
        if (!known) known = ValueText(NewObject(object.Type()), place, paths_);
        return *known;
    }

    Json JsonOf(const Node& object, int depth) {
        Json json{{"address", paths_.Of(object)}};
        if (object.HasId()) json["class"] = object.Class()->name;
        if (object.HasId()) json["ID"] = ToUtf8(object.Id());
        if (object.IsCollection()) {
            ++loaded_;
            json["Count"] = object.Count();
            if (depth >= depth_) return json;
            json["members"] = Json::array();
            Members(object, [&](const Node& member) { json["members"].push_back(JsonOf(member, depth + 1)); });
            return json;
        }
        for (const MemberDescription* member : ContentOf(object.Type())) {
            if (IsArrayProperty(*member)) {
                const auto shape = ShapeOf(*object.Pointer(), *member);
                json[std::string(member->name)] = shape ? ShapeJson(*shape) : Json();
            } else {
                json[std::string(member->name)] = PropertyJson(object, *member, ArrayForm::Summary, paths_);
            }
        }
        if (depth >= depth_) return json;
        for (const MemberDescription* each : ChildCollectionsOf(object.Type()))
            json[std::string(each->name)] = JsonOf(object.Follow(*each), depth + 1);
        return json;
    }

    static std::optional<ArrayShape> ShapeOf(IDispatch& object, const MemberDescription& member) {
        return lumvex::ShapeOf(&object, member.id);
    }

    const TreeArguments& arguments_;
    ReadDocument document_;
    Paths paths_;
    std::map<std::pair<const MemberDescription*, std::vector<long>>, std::optional<std::string>> defaults_;
    int depth_ = std::numeric_limits<int>::max();
    std::size_t loaded_ = 0;
    ExitStatus status_ = kDone;
};

}  // namespace

Command commands::Tree() {
    const auto arguments = std::make_shared<TreeArguments>();
    return {
        .name = "tree",
        .summary = "Print the content of a document as an indented tree",
        .options =
            {DocumentOption(arguments->document, "the project or library; opened for reading only"),
             {"ADDRESS", &arguments->address, kShown, "print what is below this object alone"},
             {"--depth", &arguments->depth, {"DEPTH", ProblemOfDepth}, "print so many levels below it, 0: itself"},
             {"--ids", &arguments->ids, {}, "print every object's ID behind it"},
             {"--paths", &arguments->paths, {}, "print every object's address behind it"},
             {"--json", &arguments->json, {}, "print the tree as JSON"},
             {"--statistics",
              &arguments->statistics,
              {},
              "say on standard error how much was loaded and read to answer"}},
        .details =
            std::string(kAddressHelp) +
            "\nCollections are printed with the number of their members, unless all is as when their owner was made.\n"
            "Behind an object follows what is not as in a new one: the shapes of its arrays (rows x columns), the\n"
            "sample rate of samples, settings as \"set\" takes them, and what it refers to. The elements of arrays\n"
            "are not read.",
        .incomplete = "there is no such object",
        .run = [arguments] { return TreePrinter(*arguments).Run(); }};
}

}  // namespace lumvex::app
