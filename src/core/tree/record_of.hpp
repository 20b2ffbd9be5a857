// How a class states its record: one table of its persistent fields in the order in which they stand on disk. Save,
// load, the walk over child collections, copying, the version that is written and docs/file-format.md all follow from
// it.
//
//     template <> struct RecordOf<CDatum> : Record<CDatum> {
//         static constexpr auto fields = std::tuple{&CDatum::Data, Since<2>(&CDatum::SampleRate)};
//     };
#pragma once

#include <algorithm>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "core/objects/class_info.hpp"

namespace lumvex::inside {

template <class Class>
struct RecordOf;

// One row of the table. Order is the order on disk.
template <class Pointer>
struct RecordField {
    static constexpr unsigned kStillThere = ~0u;

    Pointer pointer;
    unsigned since = 0;            // the first version whose records have the field
    unsigned until = kStillThere;  // the first version whose records have it no more
    unsigned changed = 0;          // the version that gave it another form, which older readers misread
    // For docs/file-format.md, which otherwise takes name, unit and meaning from the property of the same name.
    std::string_view property = {};  // the property that the field keeps
    std::string_view meaning = {};   // of a field that keeps no property

    constexpr bool IsIn(unsigned version) const { return since <= version && version < until; }
};

template <class Class, class Kind>
constexpr RecordField<Kind Class::*> FieldOf(Kind Class::*pointer) {
    return {pointer};
}
template <class Pointer>
constexpr RecordField<Pointer> FieldOf(RecordField<Pointer> field) {
    return field;
}

// A field that records have from a version on.
template <unsigned kVersion, class Field>
constexpr auto Since(Field given) {
    auto field = FieldOf(given);
    field.since = kVersion;
    return field;
}

// A field that records have below a version only.
template <unsigned kVersion, class Field>
constexpr auto Until(Field given) {
    auto field = FieldOf(given);
    field.until = kVersion;
    return field;
}

// A field that a version gave another form.
template <unsigned kVersion, class Field>
constexpr auto Changed(Field given) {
    auto field = FieldOf(given);
    field.changed = kVersion;
    return field;
}

// A field that keeps a property of another name.
template <class Field>
constexpr auto Keeps(std::string_view property, Field given) {
    auto field = FieldOf(given);
    field.property = property;
    return field;
}

// A field that keeps no property of the class, in a few words.
template <class Field>
constexpr auto Private(std::string_view meaning, Field given) {
    auto field = FieldOf(given);
    field.meaning = meaning;
    return field;
}

template <class Field>
constexpr auto PointerOf(Field field) {
    return FieldOf(field).pointer;
}

// The version that a table's newest row came with. Its records make no sense to readers from before the last change of
// what older rows need: one that lost or changed a field, or got a new one before an older one.
template <class... Fields>
constexpr VersionWord VersionOf(const std::tuple<Fields...>& table) {
    unsigned minimumReader = 1, newest = 0;
    const auto add = [&](const auto& field) {
        if (field.until != field.kStillThere) minimumReader = std::max(minimumReader, field.until);
        minimumReader = std::max(minimumReader, field.changed);
        if (field.since < newest) minimumReader = std::max(minimumReader, newest);
        newest = std::max(newest, field.since);
    };
    std::apply([&](auto... field) { (add(FieldOf(field)), ...); }, table);
    return {std::max(minimumReader, newest), minimumReader};
}

// What a record table inherits: the version under which this program writes, and the oldest reader that can make sense
// of that. A table whose rows do not tell states its version itself.
template <class Class>
struct Record {
    static constexpr VersionWord version = VersionOf(RecordOf<Class>::fields);
};

// Calls visit(field, row) for every row of the record, in order.
template <class Class, class Visit>
void ForEachField(Class& object, Visit&& visit) {
    std::apply([&](auto... field) { (visit(object.*PointerOf(field), FieldOf(field)), ...); },
               RecordOf<std::remove_const_t<Class>>::fields);
}

}  // namespace lumvex::inside
