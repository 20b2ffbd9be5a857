// The array property of a class: converted when it is put and when it is got, stored in the object's record.
#pragma once

#include <type_traits>

#include "arrays/array_record.hpp"
#include "arrays/convert_array.hpp"
#include "core/tree/fields.hpp"

namespace lumvex::inside {

class Array {
public:
    // How many columns a put array must have, depending on the object that owns it; negative: any number.
    using Channels = LONG (*)(const Object& owner);
    static LONG AnyChannels(const Object&) { return kAnyChannels; }

    explicit Array(Channels channels = AnyChannels) : channels_(channels) {}
    // A get answers this element type, whatever the document's SafeArrayType is.
    explicit Array(LXArray answeredAs) : channels_(AnyChannels), answeredAs_(answeredAs) {}

    template <class Owner>
    Variant Get(const Owner& owner) const {
        const LXArray setting = owner.ResolveRoot().ArrayType();
        return ConvertArrayOut(slot, setting == kShapesAlone || answeredAs_ == kAsSet ? setting : answeredAs_);
    }
    template <class Owner>
    void Put(const VARIANT& value, Owner& owner) {
        ByteSpool* const spool = owner.ResolveRoot().Spool();
        StoreAndTell(owner, LX_EV_DATA_CHANGE, [&] { ConvertArrayIn(value, slot, channels_(owner), spool); });
    }
    // Reads an array that is still in the document's file.
    void Materialise();
    // Reads it as well, because the other object's stream may go away.
    void CopyFrom(const Array& other) {
        slot = other.slot;
        Materialise();
    }

    ArraySlot slot;

private:
    static constexpr auto kAsSet = static_cast<LXArray>(0);  // as the document's SafeArrayType says

    Channels channels_;
    LXArray answeredAs_ = kAsSet;
};

inline void SaveField(RecordWriter& writer, const Array& field) { WriteArrayRecord(writer, field.slot); }
inline void LoadField(RecordReader& reader, Array& field) { ReadArrayRecord(reader, field.slot); }
inline void PassField(RecordReader& reader, std::type_identity<Array>) { PassArrayRecord(reader); }

}  // namespace lumvex::inside
