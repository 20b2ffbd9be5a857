// Prints what lumvex/members.hpp says of the classes that a document keeps, as JSON, for the tests of the tool.
#include <iostream>
#include <nlohmann/json.hpp>

#include "lumvex/members.hpp"

namespace lumvex {
namespace {

using Json = nlohmann::ordered_json;

Json Words(const EnumerationDescription& enumeration) {
    Json words = Json::array();
    for (const ValueDescription& each : enumeration.values)
        if (!each.word.empty()) words.push_back(each.word);
    return words;
}

Json Indexes(const MemberDescription& member) {
    Json indexes = Json::array();
    for (const ParameterDescription& each : member.parameters)
        indexes.push_back({each.range.lowest, each.range.highest});
    return indexes;
}

Json Properties(const InterfaceDescription& type) {
    Json properties = type.base ? Properties(*type.base) : Json::object();
    for (const MemberDescription& each : type.members) {
        if (each.use == MemberUse::Method) continue;
        Json json{{"owner", type.name},       {"type", each.type}, {"canBePut", each.use == MemberUse::ReadWrite},
                  {"indexes", Indexes(each)}, {"unit", each.unit}, {"isKept", each.keptSince.has_value()}};
        if (each.enumeration) json["words"] = Words(*each.enumeration);
        if (each.enumeration) json["isCombined"] = each.enumeration->isCombined;
        const bool isOpen = each.range.highest == RangeDescription::kNoLimit;
        if (each.hasRange) json["range"] = {each.range.lowest, isOpen ? Json() : Json(each.range.highest)};
        properties[std::string(each.name)] = std::move(json);
    }
    return properties;
}

Json Classes() {
    Json classes;
    for (const ClassDescription& each : kClasses) {
        Json json{{"interface", each.ownInterface->name}, {"properties", Properties(*each.ownInterface)}};
        json["kind"] = each.kind == ClassDescription::Kind::Root         ? "root"
                       : each.kind == ClassDescription::Kind::Collection ? "collection"
                                                                         : "item";
        if (each.member) json["member"] = each.member->name;
        if (const MemberDescription* add = each.ownInterface->Find("Add")) {
            json["add"] = Json::array();
            for (const ParameterDescription& parameter : add->parameters)
                json["add"].push_back({{"type", parameter.type}, {"isOptional", parameter.isOptional}});
        }
        classes[std::string(each.name)] = std::move(json);
    }
    return classes;
}

}  // namespace
}  // namespace lumvex

int main() { std::cout << lumvex::Classes() << '\n'; }
