#include "objects/arrays.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>

namespace lumvex::app {

namespace {

constexpr std::size_t kFirstShown = 4;

// A safe array's elements while they are read.
class Elements {
public:
    explicit Elements(const VARIANT& array) : array_(array.parray) { Check(SafeArrayAccessData(array_, &data_)); }
    ~Elements() { SafeArrayUnaccessData(array_); }
    Elements(const Elements&) = delete;
    Elements& operator=(const Elements&) = delete;

    template <class T>
    const T* As() const {
        return static_cast<const T*>(data_);
    }

private:
    SAFEARRAY* array_;
    void* data_ = nullptr;
};

template <class Number>
std::string Shortest(Number value) {
    std::array<char, 64> digits;
    return std::string(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr);
}

// As it is written most shortly, a 32-bit float as such.
std::string NumberText(double value) {
    const auto single = static_cast<float>(value);
    return double{single} == value ? FloatText(single) : DoubleText(value);
}

constexpr std::uint32_t kUsualNan = 0x7FC00000;

std::optional<std::uint32_t> HexadecimalIn(std::string_view digits) {
    std::uint32_t bits = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), bits, 16);
    const bool isWhole = digits.size() == 8 && error == std::errc{} && end == digits.data() + digits.size();
    return isWhole ? std::optional(bits) : std::nullopt;
}

// How many elements the values have; columns of different lengths are refused.
struct Shape {
    std::size_t rows = 0, columns = 0;
    bool isFlat = false;  // one dimension
};

bool IsList(const Json& value) { return value.is_array() || value.is_binary(); }

// Of a list of values, or of packed floats.
std::size_t CountIn(const Json& list) {
    return list.is_binary() ? list.get_binary().size() / sizeof(float) : list.size();
}

Shape ShapeIn(const Json& values) {
    if (!IsList(values)) throw std::invalid_argument("the values are no list");
    const bool isNested = values.is_array() && !values.empty() && IsList(values[0]);
    if (!isNested) return {CountIn(values), 1, true};
    const std::size_t rows = CountIn(values[0]);
    for (const Json& column : values)
        if (!IsList(column) || CountIn(column) != rows)
            throw std::invalid_argument("the columns are lists of different lengths");
    return {rows, values.size(), false};
}

// Checks a member of an array's description, where it is there, against what the values are.
void CheckCount(const Json& value, const char* key, std::size_t actual) {
    if (!value.contains(key)) return;
    if (value[key].is_number_integer() && value[key] == actual) return;
    throw std::invalid_argument(std::string(key) + " is " + value[key].dump() + ", and the values have " +
                                std::to_string(actual));
}

BYTE ByteFrom(const Json& value) {
    if (!value.is_number_integer() || value < 0 || value > 255)
        throw std::invalid_argument("expected a byte, found " + value.dump());
    return value.get<BYTE>();
}

template <class T, class Read>
void Fill(SAFEARRAY* array, const Json& values, const Shape& shape, Read read) {
    void* data = nullptr;
    Check(SafeArrayAccessData(array, &data));
    T* into = static_cast<T*>(data);
    const auto take = [&](const Json& list) {
        if (list.is_binary()) {
            if (const auto& bytes = list.get_binary(); !bytes.empty()) std::memcpy(into, bytes.data(), bytes.size());
            into += CountIn(list);
        } else {
            for (const Json& each : list) *into++ = read(each);
        }
    };
    try {
        if (shape.isFlat) {
            take(values);
        } else {
            for (const Json& column : values) take(column);
        }
    } catch (...) {
        SafeArrayUnaccessData(array);
        throw;
    }
    SafeArrayUnaccessData(array);
}

}  // namespace

bool IsArray(const VARIANT& value) { return (value.vt & VT_ARRAY) != 0 && value.parray; }

std::vector<std::size_t> ShapeOf(const VARIANT& array) {
    std::vector<std::size_t> shape;
    for (UINT at = 1; at <= SafeArrayGetDim(array.parray); ++at) {
        LONG lower = 0, upper = -1;
        Check(SafeArrayGetLBound(array.parray, at, &lower));
        Check(SafeArrayGetUBound(array.parray, at, &upper));
        shape.push_back(static_cast<std::size_t>(std::int64_t{upper} - lower + 1));
    }
    return shape;
}

const char* ElementName(VARTYPE type) {
    switch (type & VT_TYPEMASK) {
        case VT_R4:
            return "float";
        case VT_R8:
            return "double";
        case VT_UI1:
            return "byte";
        case VT_BSTR:
            return "text";
        default:
            return "variant";
    }
}

std::string ShapeText(const std::vector<std::size_t>& shape) {
    std::string text;
    for (const std::size_t count : shape) text += (text.empty() ? "" : " x ") + std::to_string(count);
    return shape.size() == 1 ? text + " x 1" : text;
}

std::vector<double> NumbersIn(const VARIANT& array) {
    const std::vector<std::size_t> shape = ShapeOf(array);
    std::size_t count = shape.empty() ? 0 : 1;
    for (const std::size_t each : shape) count *= each;
    std::vector<double> numbers;
    if (count == 0 || (array.vt & VT_TYPEMASK) == VT_BSTR) return numbers;
    numbers.resize(count);
    const Elements elements(array);
    const auto copy = [&](const auto* from) { std::copy_n(from, count, numbers.begin()); };
    switch (array.vt & VT_TYPEMASK) {
        case VT_R4:
            copy(elements.As<float>());
            break;
        case VT_R8:
            copy(elements.As<double>());
            break;
        case VT_UI1:
            copy(elements.As<BYTE>());
            break;
        default:
            for (std::size_t at = 0; at < count; ++at) {
                const VARIANT& each = elements.As<VARIANT>()[at];
                numbers[at] = each.vt == VT_R4 ? double{each.fltVal} : each.vt == VT_R8 ? each.dblVal : 0;
            }
    }
    return numbers;
}

ArraySummary Summarised(const VARIANT& array) {
    ArraySummary summary;
    summary.shape = ShapeOf(array);
    summary.type = ElementName(array.vt);
    summary.count = summary.shape.empty() ? 0 : 1;
    for (const std::size_t each : summary.shape) summary.count *= each;
    const std::vector<double> numbers = NumbersIn(array);
    const std::size_t rows = summary.shape.empty() ? 0 : summary.shape[0];
    for (std::size_t at = 0; at < numbers.size(); ++at) {
        const double number = numbers[at];
        if (!std::isfinite(number)) continue;
        if (summary.finite++ == 0) summary.lowest = summary.highest = number;
        summary.lowest = std::min(summary.lowest, number);
        summary.highest = std::max(summary.highest, number);
        if (summary.peakRow != 0 && std::abs(number) <= summary.peak) continue;
        summary.peak = std::abs(number);
        summary.peakRow = at % rows + 1;
        summary.peakColumn = at / rows + 1;
    }
    if (summary.type == "text") {
        const Elements elements(array);
        for (std::size_t at = 0; at < std::min({summary.count, rows, kFirstShown}); ++at)
            summary.first.push_back(ToUtf8(TextOf(elements.As<BSTR>()[at])));
    }
    for (std::size_t at = 0; at < std::min({numbers.size(), rows, kFirstShown}); ++at)
        summary.first.push_back(NumberText(numbers[at]));
    return summary;
}

std::string SummaryText(const ArraySummary& summary) {
    std::string text = ShapeText(summary.shape) + ' ' + summary.type;
    if (summary.finite != 0)
        text += ", " + NumberText(summary.lowest) + " to " + NumberText(summary.highest) + ", peak " +
                NumberText(summary.peak) + " at row " + std::to_string(summary.peakRow) + " column " +
                std::to_string(summary.peakColumn);
    if (summary.type != "text" && summary.finite != summary.count)
        text += ", " + std::to_string(summary.count - summary.finite) + " not finite";
    std::string first;
    for (const std::string& each : summary.first) first += (first.empty() ? ", first " : " ") + each;
    return text + first;
}

Json SummaryJson(const ArraySummary& summary) {
    Json json;
    json["rows"] = summary.shape.empty() ? 0 : summary.shape[0];
    json["columns"] = summary.shape.size() < 2 ? 1 : summary.shape[1];
    json["type"] = summary.type;
    if (summary.finite != 0) {
        json["range"] = {summary.lowest, summary.highest};
        json["peak"] = {{"value", summary.peak}, {"row", summary.peakRow}, {"column", summary.peakColumn}};
    }
    if (summary.type != "text") json["notFinite"] = summary.count - summary.finite;
    json["first"] = summary.first;
    return json;
}

std::string FloatText(float value) { return Shortest(value); }
std::string DoubleText(double value) { return Shortest(value); }

Json NumberJson(float value) {
    if (std::isnan(value)) {
        const auto bits = std::bit_cast<std::uint32_t>(value);
        if (bits == kUsualNan) return "NaN";
        constexpr const char* kDigits = "0123456789ABCDEF";
        std::string text = "NaN:";
        for (int shift = 28; shift >= 0; shift -= 4) text += kDigits[bits >> shift & 0xF];
        return text;
    }
    if (std::isinf(value)) return value > 0 ? "Infinity" : "-Infinity";
    // The shortest text as a 64-bit float, which is written just as short, unless rounding twice makes another number.
    const std::string text = FloatText(value);
    double number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return static_cast<float>(number) == value ? number : double{value};
}

float FloatFrom(const Json& value) {
    if (value.is_number()) return value.get<float>();
    if (value == "Infinity") return std::numeric_limits<float>::infinity();
    if (value == "-Infinity") return -std::numeric_limits<float>::infinity();
    if (value == "NaN") return std::bit_cast<float>(kUsualNan);
    if (value.is_string()) {
        const std::string text = value.get<std::string>();
        const auto bits = text.starts_with("NaN:") ? HexadecimalIn(std::string_view(text).substr(4)) : std::nullopt;
        if (bits && std::isnan(std::bit_cast<float>(*bits))) return std::bit_cast<float>(*bits);
    }
    throw std::invalid_argument("expected a number, found " + value.dump());
}

Json ArrayHeadJson(const VARIANT& array) {
    const std::vector<std::size_t> shape = ShapeOf(array);
    const std::size_t rows = shape.empty() ? 0 : shape[0];
    std::size_t columns = shape.empty() ? 0 : 1;
    for (std::size_t at = 1; at < shape.size(); ++at) columns *= shape[at];
    Json json{{"rows", rows}, {"columns", columns}, {"type", ElementName(array.vt)}};
    LONG lower = 0;
    Json lowers = Json::array();
    bool isShifted = false;
    for (UINT at = 1; at <= shape.size(); ++at) {
        Check(SafeArrayGetLBound(array.parray, at, &lower));
        lowers.push_back(lower);
        isShifted |= lower != 0;
    }
    if (isShifted) json["lowerBounds"] = std::move(lowers);
    return json;
}

Json ArrayJson(const VARIANT& array) {
    const std::vector<std::size_t> shape = ShapeOf(array);
    const std::size_t rows = shape.empty() ? 0 : shape[0];
    std::size_t columns = shape.empty() ? 0 : 1;
    for (std::size_t at = 1; at < shape.size(); ++at) columns *= shape[at];
    const VARTYPE type = array.vt & VT_TYPEMASK;
    Json values = Json::array();
    const Elements elements(array);
    const std::vector<double> numbers = type == VT_R4 || type == VT_BSTR ? std::vector<double>() : NumbersIn(array);
    const auto element = [&](std::size_t at) -> Json {
        if (type == VT_R4) return NumberJson(elements.As<float>()[at]);
        if (type == VT_BSTR) return ToUtf8(TextOf(elements.As<BSTR>()[at]));
        if (type == VT_UI1) return static_cast<int>(numbers[at]);
        return std::isfinite(numbers[at]) ? Json(numbers[at]) : NumberJson(static_cast<float>(numbers[at]));
    };
    for (std::size_t column = 0; column < columns; ++column) {
        Json list = Json::array();
        for (std::size_t row = 0; row < rows; ++row) list.push_back(element(column * rows + row));
        if (shape.size() == 1)
            values = std::move(list);
        else
            values.push_back(std::move(list));
    }
    Json json = ArrayHeadJson(array);
    json["values"] = std::move(values);
    return json;
}

Variant ArrayFrom(const Json& value) {
    if (value.is_null()) return {};
    if (value.is_object() && !value.contains("values")) throw std::invalid_argument("an array has no \"values\"");
    const Json& values = value.is_object() ? value["values"] : value;
    Shape shape = ShapeIn(values);
    std::string type = "float";
    std::array<LONG, 2> lower{};
    if (value.is_object()) {
        if (value.contains("type")) type = value["type"].is_string() ? value["type"].get<std::string>() : "";
        if (shape.isFlat && CountIn(values) == 0 && value.contains("columns") && value["columns"] == 0)
            shape = {0, 0, false};
        CheckCount(value, "columns", shape.columns);
        CheckCount(value, "rows",
                   shape.columns == 0 && value.contains("rows") ? value["rows"].get<std::size_t>() : shape.rows);
        if (shape.columns == 0 && value.contains("rows")) shape.rows = value["rows"].get<std::size_t>();
        if (value.contains("lowerBounds"))
            for (std::size_t at = 0; at < std::min<std::size_t>(2, value["lowerBounds"].size()); ++at)
                lower[at] = value["lowerBounds"][at].get<LONG>();
    }
    if (type != "float" && type != "byte") throw std::invalid_argument("arrays of type \"" + type + "\" cannot be put");
    SAFEARRAYBOUND bounds[2] = {{static_cast<ULONG>(shape.rows), lower[0]},
                                {static_cast<ULONG>(shape.columns), lower[1]}};
    const VARTYPE element = type == "byte" ? VT_UI1 : VT_R4;
    // A single value alone is taken in two dimensions only.
    const UINT dimensions = shape.isFlat && shape.rows != 1 ? 1 : 2;
    SAFEARRAY* array = SafeArrayCreate(element, dimensions, bounds);
    if (!array) throw std::bad_alloc();
    Variant made = Variant::FromArray(element, array);
    if (element == VT_UI1)
        Fill<BYTE>(array, values, shape, ByteFrom);
    else
        Fill<float>(array, values, shape, FloatFrom);
    return made;
}

Variant ArrayFromText(std::string_view json) {
    if (json.empty() || json == "none" || json == "null") return {};
    const Json value = Json::parse(json, nullptr, false);
    if (value.is_discarded()) throw std::invalid_argument("it is no JSON");
    return ArrayFrom(value);
}

}  // namespace lumvex::app
