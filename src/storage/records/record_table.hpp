// Saves and loads the fields of a class by its record table; every kind of field has its overload of SaveField and
// LoadField, found where the kind is declared. PassField reads past a field, and fails as LoadField would.
#pragma once

#include <type_traits>

#include "core/tree/fields.hpp"
#include "storage/records/record_reader.hpp"
#include "storage/records/record_writer.hpp"

namespace lumvex::inside {

template <class T>
void SaveField(RecordWriter& writer, const Scalar<T>& field) {
    static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>);
    writer.Bytes(std::as_bytes(std::span(&field.value, 1)));
}

template <class T>
void LoadField(RecordReader& reader, Scalar<T>& field) {
    reader.Read(std::as_writable_bytes(std::span(&field.value, 1)));
}

// Each value takes at least 32 bits, as in all files so far.
template <class Kind, std::size_t... kCounts>
void SaveField(RecordWriter& writer, const Indexed<Kind, kCounts...>& field) {
    for (const Kind& place : field.places) {
        if constexpr (sizeof place.value < sizeof(std::int32_t))
            writer.I32(place.value);
        else
            SaveField(writer, place);
    }
}

template <class Kind, std::size_t... kCounts>
void LoadField(RecordReader& reader, Indexed<Kind, kCounts...>& field) {
    for (Kind& place : field.places) {
        if constexpr (sizeof place.value < sizeof(std::int32_t))
            place.value = static_cast<decltype(place.value)>(reader.I32());
        else
            LoadField(reader, place);
    }
}

inline void SaveField(RecordWriter& writer, const Text& field) { writer.Text(field.value); }
inline void LoadField(RecordReader& reader, Text& field) { field.value = reader.Text(); }

inline void SaveField(RecordWriter& writer, const ChildSlot& field) { writer.OptionalReference(field.reference); }
inline void LoadField(RecordReader& reader, ChildSlot& field) { field.reference = reader.OptionalReference(); }

inline void SaveField(RecordWriter& writer, const FormerReference&) { writer.OptionalReference(std::nullopt); }
inline void LoadField(RecordReader& reader, FormerReference&) { reader.OptionalReference(); }

// An item reference: 16-bit flag, then the target's ID as text.
inline void SaveField(RecordWriter& writer, const ReferenceBase& field) {
    const auto& id = field.Id();
    writer.U16(id ? 1 : 0);
    if (id) writer.Text(ToText(*id));
}
inline void LoadField(RecordReader& reader, ReferenceBase& field) {
    const bool present = reader.U16() != 0;
    field.PointTo(present ? ParseGuid(reader.Text()) : std::nullopt);
}

template <class Field>
void PassField(RecordReader& reader, std::type_identity<Field>) {
    Field field;
    LoadField(reader, field);
}

template <class Class>
void SaveFields(const Object& object, RecordWriter& writer) {
    ForEachField(static_cast<const Class&>(object), [&](const auto& field, const auto& row) {
        if (row.IsIn(RecordOf<Class>::version.Writer())) SaveField(writer, field);
    });
}

// A field that the record does not have keeps what a new object has. Upgrade, of a class that has one, mends what old
// records meant differently.
template <class Class>
void LoadFields(Object& object, RecordReader& reader, VersionWord version) {
    auto& self = static_cast<Class&>(object);
    ForEachField(self, [&](auto& field, const auto& row) {
        if (row.IsIn(version.Writer())) LoadField(reader, field);
    });
    if constexpr (requires { self.Upgrade(version); }) self.Upgrade(version);
}

// Reads past the fields without an object to load them into. Fails as LoadFields would.
template <class Class>
void PassFields(RecordReader& reader, VersionWord version) {
    const auto pass = [&]<class Pointer>(const RecordField<Pointer>& row) {
        using Field = std::remove_reference_t<decltype(std::declval<Class&>().*row.pointer)>;
        if (row.IsIn(version.Writer())) PassField(reader, std::type_identity<Field>());
    };
    std::apply([&](auto... field) { (pass(FieldOf(field)), ...); }, RecordOf<Class>::fields);
}

}  // namespace lumvex::inside
