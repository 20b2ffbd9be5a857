#include "kit/class_tables.hpp"

#include <algorithm>
#include <deque>
#include <map>
#include <stdexcept>

#include "kit/late_calls.hpp"
#include "lumvex/create.hpp"

namespace lumvex::tests {
namespace {

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

std::vector<ClassTable> Make() {
    std::map<std::string_view, const tables::Interface*> interfaces;
    for (const tables::Interface& each : tables::Interfaces()) interfaces[each.name] = &each;
    const std::vector<tables::Class>& rows = tables::Classes();
    std::vector<ClassTable> all(rows.size());
    std::map<std::string_view, ClassTable*> byInterface, byName;
    for (std::size_t at = 0; at < all.size(); ++at) {
        all[at].name = rows[at].name;
        all[at].interfaceName = rows[at].interfaceName;
        all[at].kind = static_cast<Kind>(rows[at].kind);
        all[at].classId = IdOf("{" + std::string(rows[at].id) + "}");
        all[at].interfaceId = IdOf("{" + std::string(interfaces.at(rows[at].interfaceName)->iid) + "}");
        byInterface[rows[at].interfaceName] = &all[at];
        byName[rows[at].name] = &all[at];
    }
    const auto pointedAt = [&](std::string_view type) -> ClassTable* {
        if (!type.ends_with('*')) return nullptr;
        const auto found = byInterface.find(type.substr(0, type.size() - 1));
        return found != byInterface.end() ? found->second : nullptr;
    };
    for (std::size_t at = 0; at < all.size(); ++at) {
        ClassTable& table = all[at];
        if (!rows[at].member.empty()) table.member = byName.at(rows[at].member);
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
        for (const tables::Member& row : interfaces.at(table.interfaceName)->members) {
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
                for (std::size_t at = 0; at < row.parameters.size(); ++at)
                    table.properties.back().counts[at] = static_cast<LONG>(row.parameters[at].range->highest.value());
            } else {
                table.derived.push_back(&row);
            }
        }
    }
    for (ClassTable& table : all) {
        for (Property& property : table.properties) {
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
