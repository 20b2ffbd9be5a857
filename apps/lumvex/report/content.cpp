#include "report/content.hpp"

#include <algorithm>
#include <memory>

#include "files/text_encoding.hpp"
#include "lumvex/diagnostics.hpp"
#include "objects/arrays.hpp"
#include "report/curves.hpp"

namespace lumvex::app {

namespace {

constexpr std::size_t kNoParent = static_cast<std::size_t>(-1);

// Every project has an entry for each speaker configuration. Until the first design they are in no file, but made anew,
// with new IDs, each time somebody asks.
bool HasNoDesigns(const Node& collection) {
    const CrossoverConfigs crossovers = collection.As<CrossoverConfigs>();
    if (!crossovers) return false;
    for (const CrossoverConfig& each : crossovers)
        if (each.SpkrEQDesigns().Count() > 0) return false;
    return true;
}

}  // namespace

ReportContent::ReportContent(WriteBlock writeBlock) : writeBlock_(std::move(writeBlock)) {}

void ReportContent::Add(const std::filesystem::path& document, const std::optional<Calibration>& calibration) {
    const ReadDocument opened(document);
    OnObjects(document, "cannot be read", [&] {
        total_ += InspectDocument(document).objects;
        TraceSource traces(opened.Root(), calibration);
        Paths paths;
        documents_.push_back({{"name", Utf8(document.filename())}, {"root", objects_.size()}});
        Walk(opened.Root(), kNoParent, Utf8(document.filename()), traces, paths);
    });
    WriteFinished(0);
}

Json ReportContent::Finish() {
    WriteFinished(0);
    progress_.Clear();
    return {{"documents", documents_}, {"types", typeList_}, {"objects", objects_}};
}

// The type's number; its first use lists its properties.
std::size_t ReportContent::TypeOf(const InterfaceDescription& type) {
    const auto [found, isNew] = types_.emplace(&type, typeList_.size());
    if (isNew) {
        Json properties = Json::array();
        for (const MemberDescription* member : ShownProperties(type))
            for (const Property& place : PlacesOf(*member))
                properties.push_back({place.Name(), UnitOf(*member), member->meaning});
        typeList_.push_back(
            {{"name", TypeName(type)}, {"meaning", type.meaning}, {"properties", std::move(properties)}});
    }
    return found->second;
}

std::size_t ReportContent::Walk(const Node& object, std::size_t parent, const std::string& name, TraceSource& traces,
                                Paths& paths) {
    const std::size_t place = objects_.size();
    objects_.push_back(Json::object());
    progress_.Show(place + 1, std::max(total_, place + 1));
    Json entry = Json::object();
    entry["name"] = name;
    entry["path"] = paths.Of(object);
    if (parent != kNoParent) entry["parent"] = parent;
    entry["type"] = TypeOf(object.Type());
    Json values = Json::array(), problems = Json::array();
    for (const MemberDescription* member : ShownProperties(object.Type())) {
        for (const Property& property : PlacesOf(*member)) {
            try {
                values.push_back(Shown(FromUtf8(ValueText(object, property, paths))));
            } catch (const Error& error) {
                values.push_back("cannot be read: " + Describe(error));
            }
        }
    }
    entry["values"] = std::move(values);
    try {
        Drawable drawable = traces.Of(object);
        Json list = Json::array();
        for (Trace& trace : drawable.traces) {
            if (auto* response = std::get_if<ResponseTrace>(&trace.data); response && response->frequencies.empty())
                continue;
            Json described{{"label", trace.label}, {"role", NameOf(trace.role)}};
            if (!trace.isShown) described["hidden"] = true;
            described["block"] = AddBlock(std::move(trace));
            list.push_back(std::move(described));
        }
        if (!list.empty()) entry["traces"] = std::move(list);
        Json tables = Json::array();
        for (const TextTable& table : drawable.tables)
            tables.push_back({{"title", table.title}, {"columns", table.columns}, {"rows", table.rows}});
        if (!tables.empty()) entry["tables"] = std::move(tables);
        for (const std::string& note : drawable.notes) problems.push_back(note);
    } catch (const Error& error) {
        problems.push_back("Its curves cannot be drawn: " + Describe(error));
        ++unreadable_;
    }
    if (!problems.empty()) entry["notes"] = std::move(problems);
    objects_[place] = std::move(entry);
    for (const MemberDescription* child : ChildCollectionsOf(object.Type()))
        WalkCollection(object, place, *child, traces, paths);
    return place;
}

// A collection is in the content when it has members.
void ReportContent::WalkCollection(const Node& owner, std::size_t parent, const MemberDescription& property,
                                   TraceSource& traces, Paths& paths) {
    const auto fail = [&](std::size_t below, const std::string& name, const Error& error) {
        objects_.push_back(
            {{"name", name}, {"path", ""}, {"parent", below}, {"notes", {"It cannot be read: " + Describe(error)}}});
        ++unreadable_;
    };
    Node collection;
    LONG count = 0;
    try {
        collection = owner.Follow(property);
        count = HasNoDesigns(collection) ? 0 : collection.Count();
    } catch (const Error& error) {
        return fail(parent, std::string(property.name), error);
    }
    if (count == 0) return;
    const std::size_t place = objects_.size();
    objects_.push_back({{"name", property.name},
                        {"path", paths.Of(collection)},
                        {"parent", parent},
                        {"count", count},
                        {"meaning", property.meaning}});
    for (LONG member = 1; member <= count; ++member) {
        try {
            const Node item = collection.Member(member);
            Walk(item, place, Shown(item.Name()), traces, paths);
        } catch (const Error& error) {
            fail(place, "[" + std::to_string(member) + "]", error);
        }
    }
}

std::size_t ReportContent::AddBlock(Trace trace) {
    WriteFinished(2 * workers_.Count());
    computing_.push_back(
        workers_.Start([kept = std::make_shared<const Trace>(std::move(trace))] { return PackedTrace(*kept); }));
    return blocks_++;
}

void ReportContent::WriteFinished(std::size_t most) {
    for (; computing_.size() > most; computing_.pop_front()) writeBlock_(written_++, computing_.front().get());
}

}  // namespace lumvex::app
