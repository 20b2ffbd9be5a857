#include "kit/documents.hpp"

namespace lumvex::tests {
namespace {

std::string PlaceOf(const Node& node) {
    const std::string step = node.owner && node.IsItem() && node.alive ? "#" + std::to_string(node.Place()) : "";
    return (node.owner ? PlaceOf(*node.owner) + "/" : "") + node.table->name + step;
}

}  // namespace

std::string Seen(const Project& project) {
    const auto tree = ReadTree(ProjectTable(), project.Pointer());
    std::string seen;
    ForEach(*tree->root, [&](const Node& node) {
        seen += "\n" + PlaceOf(node) + " " + ToUtf8(node.name) + " " + std::to_string(node.locks);
        std::vector<Value> values = node.values;
        for (const Property& property : node.table->properties)
            if (property.transient) values[property.firstPlace] = {};
        for (const Value& value : values) {
            if (value == Value()) continue;
            seen += " " + Shown(value);
            std::uint32_t sum = 0;
            for (std::size_t at = 0; value.array && at < value.array->bytes.size(); ++at)
                sum = sum * 31 + static_cast<std::uint32_t>(value.array->bytes[at]);
            if (value.array) seen += " " + std::to_string(sum);
        }
        for (const Target& target : node.references) seen += target.item ? " -> " + PlaceOf(*target.item) : " -";
    });
    return seen;
}

void MakeDocument(const std::filesystem::path& path, int members) {
    const Everything everything;
    everything.Fill(1);
    Project project = Object(everything.project).As<Project>();
    project.Specifications(Specifications());
    project.Data().RemoveAll();
    for (int member = 0; member < members; ++member)
        project.Data().Add(FromUtf8(std::to_string(member))).Data(Floats(std::vector<float>(40, 1.0f)));
    project.SaveFileAs(PathText(path));
}

void ChangeEverything(Project& project, LONG round) {
    const auto tree = ReadTree(ProjectTable(), project.Pointer());
    std::set<const ClassTable*> changed;
    ForEach(*tree->root, [&](const Node& node) {
        if (node.IsCollection() || !changed.insert(node.table).second) return;
        const Object object =
            node.table->kind == Kind::Root ? Object(Ref<IDispatch>(project.Pointer())) : project.Load(node.id);
        Everything::Fill(*node.table, object.Pointer(), static_cast<int>(round) + 1);
    });
    Data data = project.Data();
    data.Item(2).SampleRate(round);
    data.Item(3).Data(Floats(std::vector<float>(2000, static_cast<float>(round))));
    data.Item(4).Locks(round);
    data.Remove(1);
    for (int member = 0; member < 3; ++member) data.Add(u"new in round " + FromUtf8(std::to_string(round)));
    project.WorkspaceData(ArrayOf(VT_UI1, {{5000, 0}}, std::vector<BYTE>(5000, static_cast<BYTE>(round))));
    const RoomEQ room = project.Rooms().Item(1);
    room.Copy(project.Rooms());
    if (round > 1) project.Rooms().Remove(2);
    project.Units(static_cast<LXUnits>(round));
}

}  // namespace lumvex::tests
