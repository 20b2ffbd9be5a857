#include "objects/properties.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <limits>
#include <sstream>

#include "command_line/status_text.hpp"
#include "command_line/suggestion.hpp"
#include "documents/document.hpp"
#include "files/file_error.hpp"
#include "files/text_table.hpp"
#include "objects/arrays.hpp"
#include "objects/design_tables.hpp"

namespace lumvex::app {

namespace {

bool EqualNames(std::string_view left, std::string_view right) {
    return CompareNoCase(FromUtf8(left), FromUtf8(right)) == 0;
}

bool IsBeginning(std::string_view text, std::string_view name) {
    return name.size() >= text.size() && EqualNames(text, name.substr(0, text.size()));
}

// "(1,2)"; empty without parts.
std::string InParentheses(const std::vector<std::string>& parts) {
    std::string text;
    for (const std::string& part : parts) text += (text.empty() ? "(" : ",") + part;
    return text.empty() ? text : text + ')';
}

template <class Texts>
std::string Joined(const Texts& texts) {
    std::string joined;
    for (const auto& each : texts) joined += (joined.empty() ? "" : ", ") + std::string(each);
    return joined;
}

void AddPlaces(std::vector<Property>& places, const Property& property) {
    const auto& parameters = property.member->parameters;
    if (property.indexes.size() == parameters.size()) {
        places.push_back(property);
        return;
    }
    const RangeDescription& range = parameters[property.indexes.size()].range;
    for (long index = range.lowest; index <= range.highest; ++index) {
        Property place = property;
        place.indexes.push_back(index);
        AddPlaces(places, place);
    }
}

// The indexes in "FilterQHi(2)"; nothing where it is not of this form.
std::optional<std::vector<long>> IndexesIn(std::string_view text) {
    if (text.size() < 3 || text.front() != '(' || text.back() != ')') return std::nullopt;
    text = text.substr(1, text.size() - 2);
    std::vector<long> indexes;
    while (true) {
        const std::size_t comma = std::min(text.find(','), text.size());
        long index = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + comma, index);
        if (error != std::errc{} || end != text.data() + comma) return std::nullopt;
        indexes.push_back(index);
        if (comma == text.size()) return indexes;
        text.remove_prefix(comma + 1);
    }
}

std::vector<std::string_view> WordsOf(const EnumerationDescription& enumeration) {
    std::vector<std::string_view> words;
    for (const ValueDescription& each : enumeration.values)
        if (!each.word.empty()) words.push_back(each.word);
    return words;
}

// ---- numbers ----

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    return text;
}

// The number without the unit that people may write behind it.
std::string_view WithoutUnit(std::string_view text, std::string_view unit) {
    text = Trimmed(text);
    if (unit.empty() || text.size() <= unit.size()) return text;
    const std::string_view end = text.substr(text.size() - unit.size());
    return EqualNames(end, unit) ? Trimmed(text.substr(0, text.size() - unit.size())) : text;
}

std::optional<long long> ReadWhole(std::string_view text) {
    long long whole = 0;
    if (text.starts_with('+')) text.remove_prefix(1);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), whole);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional(whole) : std::nullopt;
}

bool IsInRange(const MemberDescription& member, double value) {
    const auto [lowest, highest] = member.range;
    return !member.hasRange || (value >= static_cast<double>(lowest) &&
                                (highest == RangeDescription::kNoLimit || value <= static_cast<double>(highest)));
}

// " of at least 0", " from 0 to 1"; empty for any number.
std::string RangeText(const RangeDescription& range, const RangeDescription& all) {
    const std::string lowest = std::to_string(range.lowest);
    if (range.highest < all.highest) return " from " + lowest + " to " + std::to_string(range.highest);
    return range.lowest > all.lowest ? " of at least " + lowest : "";
}

// The whole numbers that the property's type and range allow.
RangeDescription WholeRange(const MemberDescription& member) {
    RangeDescription range{std::numeric_limits<LONG>::min(), std::numeric_limits<LONG>::max()};
    if (member.type == "SHORT") range = {std::numeric_limits<SHORT>::min(), std::numeric_limits<SHORT>::max()};
    if (member.hasRange) {
        range.lowest = std::max(range.lowest, member.range.lowest);
        range.highest = std::min(range.highest, member.range.highest);
    }
    return range;
}

Variant FromFloat(float value) {
    Variant result;
    result.vt = VT_R4;
    result.fltVal = value;
    return result;
}

[[noreturn]] void RefuseValue(const MemberDescription& member, std::string_view text) {
    throw PropertyError(std::string(member.name) + " takes " + Expected(member) + ", found " + Quoted(text));
}

// "0,5" would be read as 0.5 by some and refused by others, and "1,000" is 1 or 1000.
void RefuseComma(const MemberDescription& member, std::string_view text) {
    float value = 0;
    if (text.find(',') == text.npos || !ReadNumber(text, value)) return;
    std::string pointed(text);
    std::ranges::replace(pointed, ',', '.');
    throw PropertyError(std::string(member.name) + " takes " + Expected(member) + " with a decimal point: " + pointed +
                        ", not " + Quoted(text));
}

// The library that a project is linked to.
bool LeadsToDocument(const MemberDescription& member) {
    const ClassDescription* known =
        member.objectInterface ? FindClassDescription(member.objectInterface->name) : nullptr;
    return known && known->kind == Kind::Root;
}

// The project keeps it open.
Node OpenedLibrary(std::string_view path) {
    if (path.empty() || EqualNames(path, "none")) return {};
    const std::filesystem::path file = std::filesystem::absolute(std::u8string(path.begin(), path.end()));
    return OnDocument(std::u8string(path.begin(), path.end()), "cannot be opened as a library",
                      [&] { return Node(Specifications::Open(file)); });
}

bool IsText(const MemberDescription& member) { return member.type == "BSTR"; }
bool IsDate(const MemberDescription& member) { return member.type == "DATE"; }
bool IsFloat(const MemberDescription& member) { return member.type == "float"; }

// Puts what `read` makes of the text, and answers it.
template <class Read>
Variant PutAs(const Node& object, const Property& property, std::string_view text, Read read) {
    const MemberDescription& member = *property.member;
    if (member.use != MemberUse::ReadWrite)
        throw PropertyError(property.Name() + " can be read only: " + std::string(member.meaning));
    Variant value = read();
    try {
        object.Put(member, property.indexes, value);
        return value;
    } catch (const Error& error) {
        throw PropertyError(property.Name() + " does not take " + Quoted(text) + ": " + Describe(error));
    }
}

const char* TypeText(const MemberDescription& member) {
    if (member.enumeration) return member.enumeration->isCombined ? "words, joined with +" : "one of the words below";
    if (IsText(member)) return "text";
    if (IsDate(member)) return "date and time, local";
    if (IsFloat(member)) return "number (32-bit float)";
    if (member.type == "SHORT") return "whole number (16 bits)";
    if (member.type == "LONG") return "whole number (32 bits)";
    if (IsArrayProperty(member)) return "array";
    return member.type == "VARIANT" ? "array, object or truth value" : "";
}

}  // namespace

std::string FamilyName(const MemberDescription& member) {
    std::vector<std::string> ranges;
    for (const ParameterDescription& each : member.parameters)
        ranges.push_back(std::to_string(each.range.lowest) + ".." + std::to_string(each.range.highest));
    return std::string(member.name) + InParentheses(ranges);
}

bool IsNumber(const MemberDescription& member) {
    return !member.enumeration && (IsFloat(member) || member.type == "SHORT" || member.type == "LONG");
}

bool IsArrayProperty(const MemberDescription& member) {
    return member.type == "VARIANT" && member.use == MemberUse::ReadWrite;
}

std::string Property::Name() const {
    std::vector<std::string> parts;
    for (const long index : indexes) parts.push_back(std::to_string(index));
    return std::string(member->name) + InParentheses(parts);
}

std::vector<Property> PlacesOf(const MemberDescription& member) {
    std::vector<Property> places;
    AddPlaces(places, Property{&member});
    return places;
}

std::vector<const MemberDescription*> ShownProperties(const InterfaceDescription& type) {
    std::vector<const MemberDescription*> own, inherited;
    for (const MemberDescription* each : PropertiesOf(type)) {
        if (!IsValue(*each) && !IsReference(*each)) continue;
        const bool isOwn = each >= type.members.data() && each < type.members.data() + type.members.size();
        (isOwn ? own : inherited).push_back(each);
    }
    own.insert(own.end(), inherited.begin(), inherited.end());
    return own;
}

// How a document is opened, and as what it answers arrays, are properties of every root that no file keeps.
std::vector<const MemberDescription*> ContentOf(const InterfaceDescription& type) {
    const InterfaceDescription& root = *FindInterfaceDescription("_Root");
    std::vector<const MemberDescription*> content;
    for (const MemberDescription* each : ShownProperties(type))
        if (each->use == MemberUse::ReadWrite && root.Find(each->name) != each) content.push_back(each);
    return content;
}

std::vector<Property> FindProperties(const InterfaceDescription& type, std::string_view name) {
    return FindAmong(ShownProperties(type), TypeName(type) + " has no property", name);
}

std::vector<Property> FindAmong(const std::vector<const MemberDescription*>& all, const std::string& none,
                                std::string_view name) {
    const std::size_t parenthesis = std::min(name.find('('), name.size());
    const std::string_view wanted = name.substr(0, parenthesis);
    std::vector<const MemberDescription*> found;
    for (const MemberDescription* each : all)
        if (EqualNames(each->name, wanted)) found = {each};
    if (found.empty() && !wanted.empty())
        std::ranges::copy_if(all, std::back_inserter(found),
                             [&](const MemberDescription* each) { return IsBeginning(wanted, each->name); });
    std::vector<std::string_view> names;
    for (const MemberDescription* each : found.empty() ? all : found) names.push_back(each->name);
    if (found.empty()) {
        const std::string suggested = DidYouMean(std::string(wanted), {names.begin(), names.end()});
        throw PropertyError(none + ' ' + Quoted(name) +
                            (suggested.empty() ? "; there is " + Joined(names) : suggested));
    }
    if (found.size() > 1) throw PropertyError(Quoted(name) + " is the beginning of " + Joined(names) + "; say which");

    const MemberDescription& member = *found[0];
    if (parenthesis == name.size()) return PlacesOf(member);
    const std::optional<std::vector<long>> indexes = IndexesIn(name.substr(parenthesis));
    for (Property& place : PlacesOf(member))
        if (indexes && !indexes->empty() && place.indexes == *indexes) return {std::move(place)};
    throw PropertyError("there is no " + Quoted(name) + ", only " + FamilyName(member));
}

std::string DateText(DATE date) {
    const std::optional<DateParts> parts = SplitDate(date);
    if (!parts || ToDate(*parts) != date) return DoubleText(date);
    std::ostringstream text;
    text.fill('0');
    const auto add = [&](int number, int digits, const char* behind) {
        text.width(digits);
        text << number << behind;
    };
    add(parts->year, 4, "-");
    add(parts->month, 2, "-");
    add(parts->day, 2, "T");
    add(parts->hour, 2, ":");
    add(parts->minute, 2, ":");
    add(parts->second, 2, "");
    return text.str();
}

std::optional<DATE> ReadDate(std::string_view text) {
    text = Trimmed(text);
    if (EqualNames(text, "now")) return LocalTimeNow();
    DateParts parts;
    parts.year = parts.month = parts.day = 0;
    const std::array<std::pair<int*, std::size_t>, 6> fields{{{&parts.year, 4},
                                                              {&parts.month, 2},
                                                              {&parts.day, 2},
                                                              {&parts.hour, 2},
                                                              {&parts.minute, 2},
                                                              {&parts.second, 2}}};
    constexpr std::array<std::string_view, 6> kBefore{"", "-", "-", "T ", ":", ":"};
    std::size_t read = 0;
    std::string_view rest = text;
    for (; read < fields.size() && !rest.empty(); ++read) {
        if (read != 0) {
            if (kBefore[read].find(rest.front()) == kBefore[read].npos) break;
            rest.remove_prefix(1);
        }
        const auto [field, digits] = fields[read];
        const std::string_view part = rest.substr(0, digits);
        const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), *field);
        if (part.size() != digits || part[0] == '-' || error != std::errc{} || end != part.data() + digits) break;
        rest.remove_prefix(digits);
    }
    if (rest.empty() && (read == 3 || read >= 5)) return ToDate(parts);
    double days = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), days);
    const bool isNumber = error == std::errc{} && end == text.data() + text.size() && std::isfinite(days);
    return isNumber ? std::optional(days) : std::nullopt;
}

std::string WordText(const EnumerationDescription& enumeration, long value) {
    const ValueDescription* whole = enumeration.OfValue(value);
    if (whole && !whole->word.empty()) return std::string(whole->word);
    std::string text;
    long left = value;
    for (const ValueDescription& each : enumeration.values) {
        if (!enumeration.isCombined || each.word.empty() || each.value == 0 || (left & each.value) != each.value)
            continue;
        text += (text.empty() ? "" : "+") + std::string(each.word);
        left &= ~each.value;
    }
    return text.empty() || left != 0 ? std::to_string(value) : text;
}

std::optional<long> ReadWord(const EnumerationDescription& enumeration, std::string_view text) {
    long value = 0;
    for (std::string_view rest = text;;) {
        const std::size_t plus =
            enumeration.isCombined ? std::min(rest.find_first_of("+,|"), rest.size()) : rest.size();
        const std::string_view word = Trimmed(rest.substr(0, plus));
        const auto found = std::ranges::find_if(enumeration.values, [&](const ValueDescription& each) {
            return !each.word.empty() && (EqualNames(each.word, word) || EqualNames(each.name, word));
        });
        if (found == enumeration.values.end()) break;
        value |= found->value;
        if (plus == rest.size()) return value;
        rest.remove_prefix(plus + 1);
    }
    const std::optional<long long> number = ReadWhole(Trimmed(text));
    const bool isKnown = number && WordText(enumeration, static_cast<long>(*number)) != std::to_string(*number);
    return isKnown ? std::optional(static_cast<long>(*number)) : std::nullopt;
}

std::string WordsText(const EnumerationDescription& enumeration) { return Joined(WordsOf(enumeration)); }

std::string TargetText(const Node& target, const Node& root, Paths& paths) {
    std::string path = paths.Of(target);
    const ClassDescription* home = RootClassOf(target.Type());
    if (target.Is(Kind::Root)) return ToUtf8(target.Id());
    if (!home || home == root.Class()) return path;
    for (const MemberDescription* each : PropertiesOf(root.Type()))
        if (each->objectInterface == home->ownInterface) return std::string(each->name) + '/' + path;
    return path;
}

std::string ValueText(const Property& property, const VARIANT& value, Paths& paths, const Node& root) {
    const MemberDescription& member = *property.member;
    if (IsArray(value)) return SummaryText(Summarised(value));
    switch (value.vt) {
        case VT_R4:
            return FloatText(value.fltVal);
        case VT_R8:
            return DoubleText(value.dblVal);
        case VT_DATE:
            return DateText(value.date);
        case VT_BSTR:
            return ToUtf8(TextOf(value.bstrVal));
        case VT_BOOL:
            return value.boolVal == 0 ? "false" : "true";
        case VT_I2:
        case VT_I4: {
            const long number = value.vt == VT_I2 ? value.iVal : value.lVal;
            return member.enumeration ? WordText(*member.enumeration, number) : std::to_string(number);
        }
        case VT_DISPATCH:
            if (!value.pdispVal) return "none";
            if (member.objectInterface && !FindClassDescription(member.objectInterface->name))
                return paths.Of(Node(Object(Ref<IDispatch>(value.pdispVal)), *member.objectInterface));
            return TargetText(Node(Object(Ref<IDispatch>(value.pdispVal))), root, paths);
        default:
            return "none";
    }
}

std::string ValueText(const Node& object, const Property& property, Paths& paths) {
    return ValueText(property, object.Get(*property.member, property.indexes), paths, object.Root());
}

std::string_view UnitOf(const MemberDescription& member) { return IsDate(member) ? std::string_view() : member.unit; }

std::string Expected(const MemberDescription& member) {
    if (member.enumeration) {
        const std::string words = WordsText(*member.enumeration);
        return member.enumeration->isCombined ? "words joined with +: " + words : "one of " + words;
    }
    if (LeadsToDocument(member)) return "the path of a library (.lvs), or none";
    if (member.objectInterface) return "the address of a " + TypeName(*member.objectInterface) + ", or none";
    if (IsText(member)) return "a text";
    if (IsDate(member)) return "a date like 2024-05-03T21:05:00";
    if (IsArrayProperty(member)) return "an array as JSON, a list of columns ([[20,200],[84.5,86]]), or none";
    const std::string unit = member.unit.empty() ? "" : " (" + std::string(member.unit) + ')';
    if (IsFloat(member)) {
        constexpr RangeDescription kAll{std::numeric_limits<long>::min(), RangeDescription::kNoLimit};
        return "a number" + RangeText(member.hasRange ? member.range : kAll, kAll) + unit;
    }
    constexpr RangeDescription kAll{std::numeric_limits<LONG>::min(), std::numeric_limits<LONG>::max()};
    return "a whole number" + RangeText(WholeRange(member), kAll) + unit;
}

Variant ReadValue(const MemberDescription& member, std::string_view text, const Addresses& addresses) {
    if (LeadsToDocument(member)) return Variant::FromDispatch(OpenedLibrary(text).Pointer());
    if (!member.objectInterface) return ReadPlain(member, text);
    if (text.empty() || EqualNames(text, "none")) return Variant::FromDispatch(nullptr);
    return Variant::FromDispatch(addresses.FindTarget(*member.objectInterface, text).Pointer());
}

Variant ReadPlain(const MemberDescription& member, std::string_view text) {
    if (IsText(member)) return Variant::FromText(FromUtf8(text));
    if (IsDate(member)) {
        const std::optional<DATE> date = ReadDate(text);
        if (!date) RefuseValue(member, text);
        return Variant::FromDate(*date);
    }
    if (IsArrayProperty(member)) {
        try {
            const Array array(ArrayFromText(Trimmed(text)));
            const DesignTable* table = FindDesignTable(member.name);
            const std::string problem = table ? ProblemOfTable(*table, array) : "";
            if (!problem.empty())
                throw PropertyError(std::string(member.name) + " takes " + problem + ", found " + Quoted(text));
            return Variant(array.AsVariant());
        } catch (const std::invalid_argument& error) {
            throw PropertyError(std::string(member.name) + " takes " + Expected(member) + ": " + error.what());
        }
    }
    if (member.enumeration) {
        const std::optional<long> value = ReadWord(*member.enumeration, Trimmed(text));
        if (!value || !IsInRange(member, static_cast<double>(*value))) RefuseValue(member, text);
        return Variant::FromLong(static_cast<LONG>(*value));
    }
    const std::string_view bare = WithoutUnit(text, member.unit);
    RefuseComma(member, bare);
    if (IsFloat(member)) {
        float value = 0;
        if (!ReadNumber(bare, value) || !IsInRange(member, static_cast<double>(value))) RefuseValue(member, text);
        return FromFloat(value);
    }
    const std::optional<long long> whole = ReadWhole(bare);
    const RangeDescription range = WholeRange(member);
    if (!whole || *whole < range.lowest || *whole > range.highest) RefuseValue(member, text);
    return Variant::FromLong(static_cast<LONG>(*whole));
}

Variant SetText(const Node& object, const Property& property, std::string_view text, const Addresses& addresses) {
    return PutAs(object, property, text, [&] { return ReadValue(*property.member, text, addresses); });
}

Variant SetPlain(const Node& object, const Property& property, std::string_view text) {
    return PutAs(object, property, text, [&] { return ReadPlain(*property.member, text); });
}

NamedValue SplitAssignment(std::string_view text) {
    const std::size_t sign = text.find('=');
    if (sign == text.npos || sign == 0) throw PropertyError("expected NAME=VALUE, found " + Quoted(text));
    return {text.substr(0, sign), text.substr(sign + 1)};
}

void Assign(const Node& object, std::string_view assignment, const Addresses& addresses) {
    const auto [name, value] = SplitAssignment(assignment);
    for (const Property& property : FindProperties(object.Type(), name)) SetText(object, property, value, addresses);
}

namespace {

// What there is to say of: what objects tell, and what leads to others, up and down.
std::vector<const MemberDescription*> DescribedProperties(const InterfaceDescription& type) {
    std::vector<const MemberDescription*> described = ShownProperties(type);
    for (const MemberDescription* each : PropertiesOf(type)) {
        const bool isThere = std::ranges::find(described, each) != described.end();
        if (!isThere && each->parameters.empty()) described.push_back(each);
    }
    return described;
}

std::string ObjectTypeText(const InterfaceDescription& type) {
    if (IsCollection(type)) return "collection, whose members are of the class " + TypeName(MemberTypeOf(type));
    return "reference to a " + TypeName(type);
}

}  // namespace

std::string DescriptionText(std::string_view classAndProperty) {
    const std::size_t point = std::min(classAndProperty.find('.'), classAndProperty.size());
    const std::string_view className = classAndProperty.substr(0, point);
    const ClassDescription* known = FindClass(className);
    const InterfaceDescription* type = known ? known->ownInterface : nullptr;
    for (const InterfaceDescription& each : kInterfaces)
        if (!type && (EqualNames(each.name, className) || EqualNames(each.name.substr(1), className))) type = &each;
    if (!type) return {};
    std::ostringstream text;
    if (point == classAndProperty.size()) {
        text << TypeName(*type) << ": " << type->meaning << "\n\n";
        const std::vector<const MemberDescription*> all = ShownProperties(*type);
        std::size_t width = 0;
        for (const MemberDescription* each : all) width = std::max(width, FamilyName(*each).size());
        for (const MemberDescription* each : all) {
            const std::string name = FamilyName(*each);
            text << "  " << name << std::string(width + 2 - name.size(), ' ') << each->meaning
                 << (UnitOf(*each).empty() ? "" : " In " + std::string(UnitOf(*each)) + '.') << '\n';
        }
        for (const MemberDescription* each : ChildCollectionsOf(*type))
            text << "  " << each->name << std::string(width + 2 - std::min(width, each->name.size()), ' ')
                 << each->meaning << '\n';
        return text.str();
    }
    const std::vector<Property> found =
        FindAmong(DescribedProperties(*type), TypeName(*type) + " has no property", classAndProperty.substr(point + 1));
    const MemberDescription& member = *found[0].member;
    text << TypeName(*type) << '.' << FamilyName(member) << "\n  " << member.meaning << "\n\n";
    text << "  type    " << (member.objectInterface ? ObjectTypeText(*member.objectInterface) : TypeText(member))
         << '\n';
    if (!UnitOf(member).empty()) text << "  unit    " << UnitOf(member) << '\n';
    if (member.hasRange) {
        text << "  range   " << member.range.lowest;
        if (member.range.highest == RangeDescription::kNoLimit)
            text << " or more\n";
        else
            text << " to " << member.range.highest << '\n';
    }
    text << "  use     " << (member.use == MemberUse::ReadWrite ? "can be read and set" : "can be read") << '\n';
    if (member.keptSince) text << "  kept    since version " << *member.keptSince << " of the class's records\n";
    if (member.use == MemberUse::ReadWrite) text << "  takes   " << Expected(member) << '\n';
    if (!member.enumeration) return text.str();
    std::size_t width = 0;
    const std::vector<std::string_view> words = WordsOf(*member.enumeration);
    for (const std::string_view word : words) width = std::max(width, word.size());
    text << '\n';
    for (const ValueDescription& each : member.enumeration->values)
        if (!each.word.empty())
            text << "  " << each.word << std::string(width + 2 - each.word.size(), ' ') << each.meaning << '\n';
    return text.str();
}

}  // namespace lumvex::app
