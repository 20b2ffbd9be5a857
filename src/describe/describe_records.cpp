// Writes what is made from the record tables:
// - the made parts of docs/file-format.md: the classes with their IDs and versions, the fields of every record and the
//   enumerations. A made part is between two marks; what is around it is written by hand and stays;
// - src/interfaces/tables/kept.def: which properties the records keep, and since which version. The generator prints it
//   into lumvex/members.hpp, long before the record tables are compiled.
//
//     lumvex_describe_records DOCUMENT TABLE            writes them
//     lumvex_describe_records --check DOCUMENT TABLE    ends with 1, and says what to do, where one is not fresh
//
// The order, types and versions of fields come from the record tables, their names from the tables' member pointers,
// units and meanings from the property of that name in the interface tables.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <string>

#include "arrays/Data.hpp"
#include "interfaces/tables.hpp"
#include "model/project/Project.hpp"
#include "model/specifications/Specifications.hpp"
#include "storage/records/object_record.hpp"

namespace lumvex::inside {
namespace {

// ---- names ----------------------------------------------------------------------------------------------------------

// "... [with auto kValue = &lumvex::inside::CDatum::Data; ..." or "... [kValue = &CDatum::Data]" -> "Data".
constexpr std::string_view LastName(std::string_view signature) {
    const std::size_t from = signature.find("Named = ");
    std::string_view name = signature.substr(from, signature.find_first_of(";]", from) - from);
    return name.substr(name.find_last_of(":&= ") + 1);
}
template <auto Named>
constexpr std::string_view NameOfMember() {
    return LastName(__PRETTY_FUNCTION__);
}
template <class Named>
constexpr std::string_view NameOfType() {
    return LastName(__PRETTY_FUNCTION__);
}
static_assert(NameOfMember<&CDatum::SampleRate>() == "SampleRate" && NameOfType<LXXover>() == "LXXover",
              "this compiler names members in another way");

std::string Code(std::string_view text) { return "`" + std::string(text) + "`"; }
std::string Code(std::u16string_view text) { return Code(ToUtf8(text)); }

// ---- what a kind of field is in a record ----------------------------------------------------------------------------

std::set<std::string_view> usedEnumerations;

template <class T>
std::string FormOfNumber() {
    if constexpr (std::is_enum_v<T>) {
        usedEnumerations.insert(NameOfType<T>());
        return "32 bits, " + Code(NameOfType<T>());
    }
    if (std::is_floating_point_v<T>) return std::to_string(sizeof(T) * 8) + "-bit float";
    return "signed " + std::to_string(sizeof(T) * 8) + " bits";
}

template <class T>
std::string FormOf(const Scalar<T>&) {
    return FormOfNumber<T>();
}
template <class Kind, std::size_t... kCounts>
std::string FormOf(const Indexed<Kind, kCounts...>&) {
    using Value = typename Indexed<Kind, kCounts...>::Value;
    std::string counts;
    ((counts += std::to_string(kCounts) + " x "), ...);
    return counts + FormOfNumber<std::conditional_t<sizeof(Value) < sizeof(LONG), LONG, Value>>();
}
template <class Class>
std::string FormOf(const Child<Class>&) {
    return "optional reference to " + Code(ClassOf<Class>().name);
}
template <class Class>
std::string FormOf(const ItemReference<Class>&) {
    return "item reference to " + Code(ClassOf<Class>().name);
}
template <class Class>
std::string FormOf(const LinkTarget<Class>&) {
    return "item reference to " + Code(ClassOf<Class>().name);
}
template <class Class, std::size_t kDepth>
std::string FormOf(const LibraryReference<Class, kDepth>&) {
    return std::to_string(kDepth) + " texts: library reference to " + Code(ClassOf<Class>().name);
}
std::string FormOf(const Text&) { return "text"; }
std::string FormOf(const ArrayBase&) { return "array"; }
std::string FormOf(const WholeAsFloat&) { return FormOfNumber<float>(); }
std::string FormOf(const ConfigReference&) { return FormOfNumber<LXConfig>(); }
std::string FormOf(const FormerReference&) { return "optional reference"; }
std::string FormOf(const CorrectionGroups&) { return "links or groups"; }
std::string FormOf(const SpecificationsLink&) { return "library link"; }

// What a field is that a record does not have. `field` is as such a record leaves it.
template <class T>
std::string ValueOf(const Scalar<T>& field) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(field.value));
    return text;
}
template <class Kind, std::size_t... kCounts>
std::string ValueOf(const Indexed<Kind, kCounts...>& field) {
    for (const Kind& place : field.places)
        if (place.value != field.places[0].value) throw std::logic_error("no word for values that differ");
    return ValueOf(field.places[0]) + " each";
}
std::string ValueOf(const WholeAsFloat& field) { return ValueOf(Scalar<float>(field.value)); }
std::string ValueOf(const ConfigReference& field) { return std::to_string(field.Id()); }
std::string ValueOf(const ArrayBase& field) {
    if (field.slot) throw std::logic_error("no word for an array");
    return "no array";
}

// ---- the tables -----------------------------------------------------------------------------------------------------

template <class Class>
void LoadOldest(Object& object, unsigned version) {
    RecordReader reader(std::make_shared<MemorySource>(std::vector<std::byte>(1 << 16)));
    LoadFields<Class>(object, reader, VersionWord(version));
}

const tables::Member* FindProperty(std::string_view interfaceName, std::string_view name) {
    for (const tables::Member& each : tables::FindInterface(interfaceName)->members)
        if (each.name == name && each.kind == tables::Kind::Property) return &each;
    return nullptr;
}

// sampleRate_ -> SampleRate
std::string PublicName(std::string_view member) {
    std::string name(member);
    if (name.back() == '_') name.pop_back();
    if (name[0] >= 'a' && name[0] <= 'z') name[0] = static_cast<char>(name[0] - 'a' + 'A');
    return name;
}

// The rows of kept.def, one for each property that a field table names.
std::string keptRows;

// A class's field table; all values are zeros in the records that older versions are tried with.
template <class Class>
std::string FieldTable(std::string_view interfaceName) {
    std::string table =
        "| order | field | type | unit | versions | older records | meaning |\n"
        "| --- | --- | --- | --- | --- | --- | --- |\n";
    int order = 0;
    const auto add = [&](std::string_view member, const auto& row) {
        const std::string name = row.property.empty() ? PublicName(member) : std::string(row.property);
        const tables::Member* property = row.meaning.empty() ? FindProperty(interfaceName, name) : nullptr;
        if (row.meaning.empty() && !property)
            throw std::runtime_error(
                std::string(member) + " is no property of " + std::string(interfaceName) +
                ": its row of the record table has to be Keeps(property, ...) or Private(meaning, ...)");
        const Ref<Object> object = ClassOf<Class>().create();
        const auto& field = static_cast<const Class&>(*object).*row.pointer;
        std::string versions = "all", older;
        if (row.since > 0) {
            LoadOldest<Class>(*object, row.since - 1);
            if constexpr (requires { ValueOf(field); }) older = ValueOf(field);
            versions = "from " + std::to_string(row.since);
        }
        if (row.until != row.kStillThere) versions = "below " + std::to_string(row.until);
        if (property && row.until == row.kStillThere)
            keptRows +=
                "LX_KEPT(" + std::string(interfaceName) + ", " + name + ", " + std::to_string(row.since) + ")\n";
        if (row.changed != 0) versions = "all; changed in " + std::to_string(row.changed);
        table += "| " + std::to_string(++order) + " | " + name + " | " + FormOf(field) + " | " +
                 std::string(property ? property->unit : std::string_view()) + " | " + versions + " | " + older +
                 " | " + std::string(property ? property->meaning : row.meaning) + " |\n";
    };
    [&]<std::size_t... kRows>(std::index_sequence<kRows...>) {
        constexpr auto& fields = RecordOf<Class>::fields;
        (add(NameOfMember<PointerOf(std::get<kRows>(fields))>(), FieldOf(std::get<kRows>(fields))), ...);
    }
    (std::make_index_sequence<std::tuple_size_v<std::remove_cvref_t<decltype(RecordOf<Class>::fields)>>>{});
    return table;
}

std::string HexWord(VersionWord version) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(version.Word()));
    return text;
}

std::string ClassRow(const ClassInfo& info) {
    const auto kind = [&]() -> std::string {
        switch (info.kind) {
            case ClassKind::Root:
                return "root";
            case ClassKind::Collection:
                return "collection of " + Code(info.member()->name);
            case ClassKind::Item:
                return info.isLink ? "link" : "item";
        }
        return {};
    };
    return "| " + Code(info.name) + " | " + ToUtf8(ToText(info.classId)) + " | " + HexWord(info.version) + " | " +
           kind() + " |\n";
}

// Enumerations that say what places in arrays and collections are, and the units' own stream, are no fields.
std::string EnumerationTables() {
    usedEnumerations.insert({"LXArrayIndex", "LXFilterPos", "LXUnits"});
    std::string text;
    for (const tables::Enumeration& each : tables::Enumerations()) {
        if (!usedEnumerations.contains(each.name)) continue;
        text += "\n#### " + Code(each.name) + ": " + std::string(each.help) +
                "\n\n| value | constant | meaning |\n| --- | --- | --- |\n";
        for (const tables::Constant& constant : each.constants)
            text += "| " + std::to_string(constant.value) + " | " + Code(constant.name) + " | " +
                    std::string(constant.meaning) + " |\n";
    }
    return text + "\n";
}

std::map<std::string, std::string> Made() {
    std::map<std::string, std::string> made;
    std::string& classes = made["classes"] =
        "| class | class ID | written version word | kind |\n| --- | --- | --- | --- |\n";
    const auto record = [&]<class Class>(std::string_view interfaceName, std::type_identity<Class>) {
        const std::string name = ToUtf8(ClassOf<Class>().name);
        try {
            made["fields of " + name] = FieldTable<Class>(interfaceName);
        } catch (const std::exception& error) {
            throw std::runtime_error(name + ": " + error.what());
        }
    };
#define LX_FOLDER(path)
#define LX_BASE(name, interface, header)
#define LX_ROOT_CLASS(name, interface)    \
    classes += ClassRow(ClassOf<name>()); \
    record(#interface, std::type_identity<name>());
#define LX_COLLECTION_CLASS(name, interface, member, title, id) classes += ClassRow(ClassOf<name>());
#define LX_ITEM_CLASS(name, interface, id) \
    classes += ClassRow(ClassOf<name>());  \
    record(#interface, std::type_identity<name>());
#include "interfaces/tables/classes.def"
    made["enumerations"] = EnumerationTables();
    return made;
}

// ---- the document ---------------------------------------------------------------------------------------------------

constexpr std::string_view kMark = "<!-- made: ", kMarkEnd = " -->\n", kEnd = "<!-- end of what is made -->\n";

// The document with everything made in its place.
std::string WithMade(const std::string& document, std::map<std::string, std::string> made) {
    std::string text;
    std::size_t at = 0;
    for (std::size_t mark; (mark = document.find(kMark, at)) != document.npos;) {
        const std::size_t nameAt = mark + kMark.size(), nameEnd = document.find(kMarkEnd, nameAt);
        const std::size_t end = document.find(kEnd, nameAt);
        if (end == document.npos || nameEnd > end)
            throw std::runtime_error("a mark without '" + std::string(kEnd) + "'");
        const auto part = made.extract(document.substr(nameAt, nameEnd - nameAt));
        if (!part)
            throw std::runtime_error("nothing is made for the mark '" + document.substr(nameAt, nameEnd - nameAt) +
                                     "'");
        text += document.substr(at, nameEnd + kMarkEnd.size() - at) + part.mapped() + std::string(kEnd);
        at = end + kEnd.size();
    }
    if (!made.empty())
        throw std::runtime_error("no place for '" + made.begin()->first + "': add the lines\n" + std::string(kMark) +
                                 made.begin()->first + std::string(kMarkEnd) + std::string(kEnd));
    return text + document.substr(at);
}

constexpr const char* kKeptHead =
    R"(// The properties whose values the objects' records keep, each with the first version whose records have it.
// scripts/make-generated writes this file from the record tables.
//
//     LX_KEPT(interface, property, version)

)";

// Whether the file had it already; writes it where it may.
bool IsFresh(const char* path, const std::string& old, const std::string& fresh, bool check) {
    if (fresh == old) return true;
    if (check)
        std::cerr << path << " is not what the record and interface tables say: run scripts/make-generated\n";
    else if (!(std::ofstream(path, std::ios::binary) << fresh).flush())
        throw std::runtime_error(std::string(path) + ": cannot be written");
    return false;
}

std::string Content(const char* path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error(std::string(path) + ": cannot be read");
    return std::string(std::istreambuf_iterator<char>(file), {});
}

int Run(bool check, const char* document, const char* table) {
    const std::string oldDocument = Content(document), oldTable = Content(table);
    const std::string freshDocument = WithMade(oldDocument, Made());
    const bool documentIsFresh = IsFresh(document, oldDocument, freshDocument, check);
    const bool tableIsFresh = IsFresh(table, oldTable, kKeptHead + keptRows, check);
    return check && !(documentIsFresh && tableIsFresh) ? 1 : 0;
}

}  // namespace
}  // namespace lumvex::inside

int main(int count, char** arguments) {
    const bool check = count == 4 && std::strcmp(arguments[1], "--check") == 0;
    if (count != 3 && !check) {
        std::cerr << "lumvex_describe_records [--check] DOCUMENT TABLE\n";
        return 2;
    }
    try {
        return lumvex::inside::Run(check, arguments[count - 2], arguments[count - 1]);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
