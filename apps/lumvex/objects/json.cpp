#include "objects/json.hpp"
#include "command_line/status_text.hpp"

#include <nlohmann/json.hpp>
#include <ostream>

#include "command_line/status_text.hpp"

namespace lumvex::app {

namespace {

// The places with these first indexes.
Json PlacesJson(const Node& object, const MemberDescription& member, std::vector<long> indexes, ArrayForm arrays,
                Paths& paths) {
    if (indexes.size() == member.parameters.size()) {
        const Property place{&member, indexes};
        return ValueJson(place, object.Get(member, indexes), arrays, paths, object.Root());
    }
    const RangeDescription& range = member.parameters[indexes.size()].range;
    Json list = Json::array();
    indexes.push_back(range.lowest);
    for (; indexes.back() <= range.highest; ++indexes.back())
        list.push_back(PlacesJson(object, member, indexes, arrays, paths));
    return list;
}

}  // namespace

Json ValueJson(const Property& property, const VARIANT& value, ArrayForm arrays, Paths& paths, const Node& root) {
    if (IsArray(value)) return arrays == ArrayForm::Whole ? ArrayJson(value) : SummaryJson(Summarised(value));
    switch (value.vt) {
        case VT_R4:
            return NumberJson(value.fltVal);
        case VT_R8:
            return value.dblVal;
        case VT_BOOL:
            return value.boolVal != 0;
        case VT_DATE: {
            std::string text = DateText(value.date);
            return text.find('T') == text.npos ? Json(value.date) : Json(std::move(text));
        }
        case VT_I2:
        case VT_I4: {
            const long number = value.vt == VT_I2 ? value.iVal : value.lVal;
            if (!property.member->enumeration) return number;
            std::string word = WordText(*property.member->enumeration, number);
            return word == std::to_string(number) ? Json(number) : Json(std::move(word));
        }
        case VT_DISPATCH:
            if (!value.pdispVal) return nullptr;
            return ValueText(property, value, paths, root);
        case VT_BSTR:
            return TextJson(TextOf(value.bstrVal));
        default:
            return nullptr;
    }
}

Json TextJson(std::u16string_view text) {
    std::string narrow = ToUtf8(text);
    if (FromUtf8(narrow) == text) return narrow;
    Json units = Json::array();
    for (const char16_t unit : text) units.push_back(static_cast<unsigned>(unit));
    return {{"utf16", std::move(units)}};
}

Json PropertyJson(const Node& object, const MemberDescription& member, ArrayForm arrays, Paths& paths) {
    return PlacesJson(object, member, {}, arrays, paths);
}

Json ObjectJson(const Node& object, ArrayForm arrays, Paths& paths) {
    Json json{{"address", paths.Of(object)}, {"class", "C" + TypeName(object.Type())}};
    for (const MemberDescription* each : ShownProperties(object.Type())) {
        try {
            json[std::string(each->name)] = PropertyJson(object, *each, arrays, paths);
        } catch (const Error& error) {
            json[std::string(each->name)] = {{"error", Describe(error)}};
        }
    }
    return json;
}

Json ShapeJson(const ArrayShape& shape) {
    return {{"rows", shape.counts.empty() ? 0 : shape.counts[0]},
            {"columns", shape.counts.size() < 2 ? 1 : shape.counts[1]},
            {"type", ElementName(shape.type)}};
}

void PrintJson(std::ostream& out, const Json& value) {
    out << value.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace lumvex::app
