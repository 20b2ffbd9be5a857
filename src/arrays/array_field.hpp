// The array property of a class: converted when it is put and when it is got, stored in the object's record.
#pragma once

#include <type_traits>

#include "arrays/array_record.hpp"
#include "arrays/convert_array.hpp"
#include "core/tree/fields.hpp"

namespace lumvex::inside {

// What holds for an array property, the same for all objects of the class.
struct ArrayRules {
    static constexpr auto kAsSet = static_cast<LXArray>(0);

    // How many columns a put array must have, depending on the object that owns it; negative: any number.
    LONG (*channels)(const Object& owner) = [](const Object&) { return kAnyChannels; };
    LXArray answeredAs = kAsSet;  // the element type that a get answers: kAsSet as the document's SafeArrayType says
};
inline constexpr ArrayRules kAnyArray{};

// The part of the field that is the same whatever the rules.
class ArrayBase {
public:
    // Reads an array that is still in the document's file.
    void Materialise();
    // Reads it as well, because the other object's stream may go away.
    void CopyFrom(const ArrayBase& other) {
        slot = other.slot;
        Materialise();
    }

    ArraySlot slot;
};

template <const ArrayRules& kRules>
class ArrayOf : public ArrayBase {
public:
    template <class Owner>
    Variant Get(const Owner& owner) const {
        const LXArray setting = owner.ResolveRoot().ArrayType();
        const bool isAsSet = setting == kShapesAlone || kRules.answeredAs == ArrayRules::kAsSet;
        return ConvertArrayOut(slot, isAsSet ? setting : kRules.answeredAs);
    }
    template <class Owner>
    void Put(const VARIANT& value, Owner& owner) {
        ByteSpool* const spool = owner.ResolveRoot().Spool();
        StoreAndTell(owner, LX_EV_DATA_CHANGE, [&] { ConvertArrayIn(value, slot, kRules.channels(owner), spool); });
    }
};
using Array = ArrayOf<kAnyArray>;

inline void SaveField(RecordWriter& writer, const ArrayBase& field) { WriteArrayRecord(writer, field.slot); }
inline void LoadField(RecordReader& reader, ArrayBase& field) { ReadArrayRecord(reader, field.slot); }
template <const ArrayRules& kRules>
void PassField(RecordReader& reader, std::type_identity<ArrayOf<kRules>>) {
    PassArrayRecord(reader);
}

}  // namespace lumvex::inside
