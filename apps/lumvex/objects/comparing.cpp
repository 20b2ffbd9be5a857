#include "objects/comparing.hpp"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>

#include "documents/document.hpp"
#include "objects/adding.hpp"
#include "objects/json.hpp"

namespace lumvex::app {

namespace {

std::vector<std::string> TextsIn(const VARIANT& array) {
    std::vector<std::string> texts;
    const Json json = ArrayJson(array);
    for (const Json& each : json["values"].flatten()) texts.push_back(each.get<std::string>());
    return texts;
}

// The bytes of an array whose elements are numbers or bytes.
std::string BytesOf(const VARIANT& array) {
    std::size_t count = 1;
    for (const std::size_t each : ShapeOf(array)) count *= each;
    void* data = nullptr;
    Check(SafeArrayAccessData(array.parray, &data));
    std::string bytes(static_cast<const char*>(data), count * SafeArrayGetElemsize(array.parray));
    SafeArrayUnaccessData(array.parray);
    return bytes;
}

bool HaveOneForm(const VARIANT& before, const VARIANT& after) {
    return IsArray(before) && IsArray(after) && before.vt == after.vt && ShapeOf(before) == ShapeOf(after);
}

// Not-a-number is like itself here, and zero unlike its negative: what is stored counts.
bool HaveSameBits(float left, float right) {
    return std::bit_cast<std::uint32_t>(left) == std::bit_cast<std::uint32_t>(right);
}

bool HaveSameBits(double left, double right) {
    return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right);
}

bool IsText(const VARIANT& array) { return (array.vt & VT_TYPEMASK) == VT_BSTR; }

ArrayDifference DifferenceOf(const VARIANT& before, const VARIANT& after) {
    const std::vector<double> left = NumbersIn(before), right = NumbersIn(after);
    const std::vector<std::size_t> shape = ShapeOf(before);
    ArrayDifference found;
    found.count = left.size();
    for (std::size_t at = 0; at < left.size(); ++at) {
        if (HaveSameBits(left[at], right[at])) continue;
        ++found.differing;
        double difference = std::abs(left[at] - right[at]);
        if (!std::isfinite(difference)) difference = std::numeric_limits<double>::infinity();
        if (found.differing > 1 && difference <= found.largest) continue;
        found.largest = difference;
        found.row = at % shape[0] + 1;
        found.column = at / shape[0] + 1;
    }
    return found;
}

}  // namespace

bool Comparison::IsSame(const Property& property, const VARIANT& before, const VARIANT& after, const Node& left,
                        const Node& right) {
    if (IsArray(before) || IsArray(after)) {
        if (!HaveOneForm(before, after)) return !IsArray(before) && !IsArray(after);
        return IsText(before) ? TextsIn(before) == TextsIn(after) : BytesOf(before) == BytesOf(after);
    }
    if (before.vt == VT_BSTR && after.vt == VT_BSTR) return TextOf(before.bstrVal) == TextOf(after.bstrVal);
    if (before.vt == VT_R4 && after.vt == VT_R4) return HaveSameBits(before.fltVal, after.fltVal);
    if (before.vt == VT_DATE && after.vt == VT_DATE) return HaveSameBits(before.date, after.date);
    if (before.vt == VT_DISPATCH && after.vt == VT_DISPATCH && before.pdispVal && after.pdispVal) {
        const Node leftTarget = left.Follow(*property.member), rightTarget = right.Follow(*property.member);
        if (leftTarget.HasId() && leftTarget.Id() == rightTarget.Id()) return true;
    }
    return ValueText(property, before, left_, left.Root()) == ValueText(property, after, right_, right.Root());
}

std::vector<Difference> Comparison::Of(const Node& before, const Node& after) {
    std::vector<Difference> differences;
    // An item that nobody can add was made with its document, whose age is no difference.
    const bool isAlwaysThere = before.Is(Kind::Item) && !AddOf(before.Parent().Type());
    for (const MemberDescription* member : ContentOf(before.Type())) {
        if (isAlwaysThere && member->name == "Timestamp") continue;
        for (const Property& place : PlacesOf(*member)) {
            const Variant left = before.Get(*member, place.indexes), right = after.Get(*member, place.indexes);
            if (IsSame(place, left, right, before, after)) continue;
            Difference difference{place,
                                  ValueText(place, left, left_, before.Root()),
                                  ValueText(place, right, right_, after.Root()),
                                  ValueJson(place, left, ArrayForm::Summary, left_, before.Root()),
                                  ValueJson(place, right, ArrayForm::Summary, right_, after.Root()),
                                  {}};
            if (HaveOneForm(left, right) && !IsText(left)) difference.array = DifferenceOf(left, right);
            differences.push_back(std::move(difference));
        }
    }
    return differences;
}

std::string DifferenceText(const Difference& difference) {
    std::string text = difference.property.Name() + ": ";
    if (!difference.array) return text + Shown(FromUtf8(difference.before + " -> " + difference.after));
    const ArrayDifference& array = *difference.array;
    return text + std::to_string(array.differing) + " of " + std::to_string(array.count) +
           " values differ, the most by " + FloatText(static_cast<float>(array.largest)) + " in row " +
           std::to_string(array.row) + ", column " + std::to_string(array.column);
}

Json DifferenceJson(const Difference& difference) {
    Json json{
        {"property", difference.property.Name()}, {"before", difference.beforeJson}, {"after", difference.afterJson}};
    if (!difference.array) return json;
    const ArrayDifference& array = *difference.array;
    json["differing"] = array.differing;
    json["largest"] = std::isfinite(array.largest) ? Json(array.largest) : Json("Infinity");
    json["row"] = array.row;
    json["column"] = array.column;
    return json;
}

}  // namespace lumvex::app
