// The array property of a class: put through the conversions, kept in the object's record.
#pragma once

#include "arrays/array_record.hpp"
#include "arrays/convert_array.hpp"
#include "core/tree/fields.hpp"

namespace lumvex::inside {

class Array {
public:
    // How many channels a put must have, of the object that owns the array; negative: any number.
    using Channels = LONG (*)(const Object& owner);
    static LONG AnyChannels(const Object&) { return kAnyChannels; }

    explicit Array(Channels channels = AnyChannels) : channels_(channels) {}
    // Answered in one type whatever the document's setting.
    explicit Array(LXArray answeredAs) : channels_(AnyChannels), answeredAs_(answeredAs) {}

    template <class Owner>
    Variant Get(const Owner& owner) const {
        const LXArray setting = owner.ResolveRoot().ArrayType();
        return ConvertArrayOut(slot, answeredAs_.value_or(setting));
    }
    template <class Owner>
    void Put(const VARIANT& value, Owner& owner) {
        owner.ResolveRoot();
        StoreAndTell(owner, LX_EV_DATA_CHANGE, [&] { ConvertArrayIn(value, slot, channels_(owner)); });
    }
    void Materialise();
    // An array that still stands in the file is read: its stream belongs to the other object.
    void CopyFrom(const Array& other) {
        slot = other.slot;
        Materialise();
    }

    ArraySlot slot;

private:
    Channels channels_;
    std::optional<LXArray> answeredAs_;
};

inline void SaveField(RecordWriter& writer, const Array& field) { WriteArrayRecord(writer, field.slot); }
inline void LoadField(RecordReader& reader, Array& field) { ReadArrayRecord(reader, field.slot); }

}  // namespace lumvex::inside
