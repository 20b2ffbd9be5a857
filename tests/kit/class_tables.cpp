#include "kit/class_tables.hpp"

#include <algorithm>
#include <deque>
#include <map>
#include <stdexcept>

#include "kit/late_calls.hpp"
#include "lumvex/create.hpp"

namespace lumvex::tests {
namespace {

struct Row {
    std::string_view name, interfaceName, member, classId;
    Kind kind;
};

constexpr Row kRows[] = {
#define LX_ROOT_CLASS(name, interface, id) {#name, #interface, "", "{" id "}", Kind::Root},
#define LX_COLLECTION_CLASS(name, interface, member, title, id) \
    {#name, #interface, #member, "{" id "}", Kind::Collection},
#define LX_ITEM_CLASS(name, interface, id) {#name, #interface, "", "{" id "}", Kind::Item},
#include "model/classes.def"
};

// What cannot be seen in the tables: a get that does not answer what was put, a value that is not saved.
constexpr std::string_view kAnswersOthers[] = {"IRoomPosition.SampleRate"};
constexpr std::string_view kOfTheSession[] = {"ICorrection.DisplayPosition"};

bool Lists(std::span<const std::string_view> names, std::string_view interfaceName, std::string_view property) {
    return std::ranges::find(names, std::string(interfaceName) + "." + std::string(property)) != names.end();
}

GUID IdOf(std::string_view text) {
    const auto id = ParseGuid(FromUtf8(text));
    if (!id) throw std::logic_error("not an ID: " + std::string(text));
    return *id;
}

// The counts of indexed properties are looked up where they are enforced.
class Indices {
public:
    Indices() {
        void* object = nullptr;
        if (FAILED(LumvexCreateInstance(IdOf("{09A5CDEB-2933-4F88-9196-E13F80993ABB}"), kIidOf<IDispatch>, &object)))
            throw std::runtime_error("no project");
        project_ = Ref<IDispatch>::Attach(static_cast<IDispatch*>(object));
    }
    LONG CountOf(IDispatch* object, const Property& property, int dimension) const {
        for (LONG index = 1;; ++index) {
            VARIANT arguments[2] = {LongArgument(1), LongArgument(1)};
            arguments[dimension] = LongArgument(index);
            const Answer answer = CallLate(object, property.id, DISPATCH_PROPERTYGET,
                                           {arguments, static_cast<std::size_t>(property.dimensions)});
            if (FAILED(answer.status)) return index - 1;
        }
    }
    // Objects of the classes with indexed properties: each path of DISPIDs leads from the project to one.
    Ref<IDispatch> Sample(std::string_view interfaceName) const {
        const Bstr name(u"sample");
        const auto added = [&](const Ref<IDispatch>& collection) {
            return Ref<IDispatch>(DoLate(collection.get(), member::kAdd, {TextArgument(name.get())}).Object());
        };
        const auto child = [](const Ref<IDispatch>& owner, DISPID id) {
            return Ref<IDispatch>(GetLate(owner.get(), id).Object());
        };
        const Ref<IDispatch> box = added(child(project_, 0x08));
        if (interfaceName == "IBoxCfg") return box;
        const Ref<IDispatch> bank = added(child(box, 0x01));
        if (interfaceName == "IBoxCfgSpkr") return added(child(bank, 0x09));
        return nullptr;
    }

private:
    Ref<IDispatch> project_;
};

std::vector<ClassTable> Make() {
    std::map<std::string_view, const tables::Interface*> interfaces;
    for (const tables::Interface& each : tables::Interfaces()) interfaces[each.name] = &each;
    std::vector<ClassTable> all(std::size(kRows));
    std::map<std::string_view, ClassTable*> byInterface, byName;
    for (std::size_t at = 0; at < all.size(); ++at) {
        all[at].name = kRows[at].name;
        all[at].interfaceName = kRows[at].interfaceName;
        all[at].kind = kRows[at].kind;
        all[at].classId = IdOf(kRows[at].classId);
        all[at].interfaceId = IdOf("{" + std::string(interfaces.at(kRows[at].interfaceName)->iid) + "}");
        byInterface[kRows[at].interfaceName] = &all[at];
        byName[kRows[at].name] = &all[at];
    }
    const auto pointedAt = [&](std::string_view type) -> ClassTable* {
        if (!type.ends_with('*')) return nullptr;
        const auto found = byInterface.find(type.substr(0, type.size() - 1));
        return found != byInterface.end() ? found->second : nullptr;
    };
    for (std::size_t at = 0; at < all.size(); ++at) {
        ClassTable& table = all[at];
        if (!kRows[at].member.empty()) table.member = byName.at(kRows[at].member);
        for (const tables::Member& row : interfaces.at(table.interfaceName)->members) {
            if (row.name == "Root") table.root = pointedAt(row.type);
            if (row.name != "Add") continue;
            table.canAdd = true;
            for (const tables::Parameter& each : row.parameters)
                table.add.push_back(
                    {each.type, pointedAt(each.type), each.type == "IConfig*", !each.defaultValue.empty()});
        }
        if (table.kind == Kind::Root) table.root = &table;
        table.ofLibrary = table.root && table.root->name == "CSpecifications";
    }
    const auto collectionOf = [&](const ClassTable& item) {
        return std::ranges::find_if(all, [&](const ClassTable& each) { return each.member == &item; });
    };
    std::vector<Property> indexed;
    for (ClassTable& table : all) {
        const auto& rows = interfaces.at(table.interfaceName)->members;
        for (const tables::Member& row : rows) {
            if (row.kind != tables::Kind::Property || row.name == "Item" || row.name == "Root" || row.name == "Parent")
                continue;
            const bool put = (row.access & tables::Put) != 0;
            const auto id = static_cast<DISPID>(row.id);
            ClassTable* target = pointedAt(row.type);
            const bool givenWhenAdded = target && table.kind == Kind::Item && [&] {
                const auto& parameters = collectionOf(table)->add;
                return std::ranges::any_of(parameters, [&](const AddParameter& each) { return each.item == target; });
            }();
            if (target && target->kind == Kind::Collection) {
                table.children.push_back({id, row.name, target});
            } else if (target && row.parameters.empty() && (put || givenWhenAdded)) {
                const bool isLink = id == LX_DISPLINK;
                table.references.push_back({id, row.name, target, put, isLink, target->ofLibrary && !table.ofLibrary,
                                            !isLink && !(table.interfaceName == "ISpkrEQConfig")});
                table.isLink = table.isLink || isLink;
            } else if ((put || id == member::kConfigID) && !target && !row.type.ends_with('*') &&
                       !Lists(kAnswersOthers, table.interfaceName, row.name)) {
                table.properties.push_back({id, row.name, row.type, put,
                                            Lists(kOfTheSession, table.interfaceName, row.name),
                                            static_cast<int>(row.parameters.size())});
            } else {
                table.derived.push_back(&row);
            }
        }
    }
    const Indices indices;
    for (ClassTable& table : all) {
        for (Property& property : table.properties) {
            if (property.dimensions != 0) {
                const Ref<IDispatch> sample = indices.Sample(table.interfaceName);
                for (int dimension = 0; dimension < property.dimensions; ++dimension)
                    property.counts[dimension] = sample ? indices.CountOf(sample.get(), property, dimension) : 6;
                if (property.Places() == 0) throw std::logic_error("no places: " + std::string(property.name));
            }
            property.firstPlace = table.places;
            table.places += static_cast<std::size_t>(property.Places());
        }
    }
    return all;
}

}  // namespace

const std::vector<ClassTable>& ClassTables() {
    static const std::vector<ClassTable> all = Make();
    return all;
}

const ClassTable& TableOf(std::string_view className) {
    for (const ClassTable& each : ClassTables())
        if (each.name == className) return each;
    throw std::logic_error("no class " + std::string(className));
}

}  // namespace lumvex::tests
