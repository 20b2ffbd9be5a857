#include "kit/everything.hpp"

#include <cstring>

#include "lumvex/create.hpp"

namespace lumvex::tests {

Ref<IDispatch> NewRoot(const ClassTable& table) {
    void* made = nullptr;
    if (FAILED(LumvexCreateInstance(table.classId, kIidOf<IDispatch>, &made))) throw Wrong("no new document");
    return Ref<IDispatch>::Attach(static_cast<IDispatch*>(made));
}

Value ValueFor(const ClassTable& table, const Property& property, LONG place, int round) {
    const int step = static_cast<int>(property.id) + static_cast<int>(place) + 7 * round;
    if (property.IsText()) return Value::Text(u"text " + FromUtf8(std::to_string(step)));
    if (property.IsArray()) {
        // One row more than the round's number. The sample's speaker is driven with one channel.
        ArrayContent content{property.name == "WorkspaceData" ? VARTYPE{VT_UI1} : VARTYPE{VT_R4}, {}, {}};
        const auto count = static_cast<ULONG>(2 + round);
        content.bounds.push_back({0, count});
        for (ULONG at = 0; at < count; ++at) {
            const float element = static_cast<float>(step) + static_cast<float>(at) / 4;
            std::byte bytes[sizeof element];
            std::memcpy(bytes, &element, sizeof element);
            content.bytes.insert(content.bytes.end(), bytes, bytes + (content.type == VT_UI1 ? 1 : 4));
        }
        return {0, nullptr, std::make_shared<const ArrayContent>(std::move(content))};
    }
    if (table.interfaceName == "IBoxCfgBank" && property.name == "Config") return Value::Number(1 + round % 4);
    if (property.type == "float") return Value::Number(static_cast<float>(step) + 0.5f);
    return Value::Number(10 + step);
}

AsArgument::AsArgument(const Property& property, const Value& value) : text_(value.AsText()) {
    if (property.IsArray()) {
        if (value.array) {
            array_ = ArrayVariant(*value.array, value.array->type);
            argument_ = array_;
        }
    } else if (property.IsText()) {
        argument_ = TextArgument(text_.get());
    } else if (property.type == "float") {
        argument_.vt = VT_R4;
        argument_.fltVal = static_cast<float>(value.number);
    } else if (property.type == "SHORT") {
        argument_.vt = VT_I2;
        argument_.iVal = static_cast<SHORT>(value.number);
    } else {
        argument_ = LongArgument(static_cast<LONG>(value.number));
    }
}

Answer PutPlace(IDispatch* object, const Property& property, LONG place, const VARIANT& value) {
    if (property.dimensions == 0) return PutLate(object, property.id, {value});
    if (property.dimensions == 1) return PutLate(object, property.id, {LongArgument(place + 1), value});
    return PutLate(object, property.id,
                   {LongArgument(place / property.counts[1] + 1), LongArgument(place % property.counts[1] + 1), value});
}

Everything::Everything() : library(NewRoot(LibraryTable())), project(NewRoot(ProjectTable())) {
    objects.emplace(&LibraryTable(), library);
    objects.emplace(&ProjectTable(), project);
    PutLate(project.get(), member::kSpecifications, {ObjectArgument(library.get())});
    AddBelow(LibraryTable());
    AddBelow(ProjectTable());
    for (const ClassTable& table : ClassTables())
        if (!objects.contains(&table)) throw Wrong("no object of " + table.name);
}

// What needs an object that comes later waits for the next time around.
void Everything::AddBelow(const ClassTable& table) {
    for (bool waiting = true; waiting;) {
        waiting = false;
        const std::size_t before = objects.size();
        const auto below = [&](const ClassTable& owner, const auto& self) -> void {
            for (const ChildTable& child : owner.children) {
                const ClassTable& collectionTable = *child.collection;
                const Ref<IDispatch> collection(GetLate(Of(owner), child.id).Object());
                objects.emplace(&collectionTable, collection);
                if (!objects.contains(collectionTable.member)) {
                    const Bstr name(u"one of everything");
                    Ref<IDispatch> config;
                    std::vector<VARIANT> arguments;
                    bool ready = true;
                    for (const AddParameter& each : collectionTable.add) {
                        if (each.isConfig) {
                            const Ref<IDispatch> configs(GetLate(library.get(), member::kLibraryConfigs).Object());
                            config = Ref<IDispatch>(GetLate(configs.get(), member::kItem, {LongArgument(1)}).Object());
                            arguments.push_back(ObjectArgument(config.get()));
                        } else if (each.item) {
                            ready = ready && objects.contains(each.item);
                            arguments.push_back(ObjectArgument(ready ? Of(*each.item) : nullptr));
                        } else {
                            arguments.push_back(TextArgument(name.get()));
                        }
                    }
                    waiting = waiting || !ready;
                    if (!ready) continue;
                    const Answer added = collectionTable.canAdd
                                             ? CallLate(collection.get(), member::kAdd, DISPATCH_METHOD, arguments)
                                             : GetLate(collection.get(), member::kItem, {LongArgument(1)});
                    if (!added.Object()) throw Wrong("no " + collectionTable.member->name);
                    objects.emplace(collectionTable.member, Ref<IDispatch>(added.Object()));
                }
                self(*collectionTable.member, self);
            }
        };
        below(table, below);
        if (waiting && objects.size() == before) throw Wrong("classes below " + table.name + " wait for each other");
    }
}

void Everything::Fill(const ClassTable& table, IDispatch* object, int round) {
    for (const Property& property : table.properties)
        for (LONG place = 0; property.put && place < property.Places(); ++place) {
            const Value value = ValueFor(table, property, place, round);
            if (PutPlace(object, property, place, AsArgument(property, value)).status != S_OK)
                throw Wrong("put of " + table.interfaceName + "." + std::string(property.name));
        }
}

// References too: where the class's sample stands.
void Everything::Fill(int round) const {
    for (const auto& [table, object] : objects) {
        Fill(*table, object.get(), round);
        for (const ReferenceTable& row : table->references)
            if (row.put && PutLate(object.get(), row.id, {ObjectArgument(Of(*row.target))}).status != S_OK)
                throw Wrong("put of " + table->interfaceName + "." + std::string(row.name));
    }
}

}  // namespace lumvex::tests
