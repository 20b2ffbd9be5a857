// A property of whole numbers whose object and record keep a 32-bit float.
#pragma once

#include <limits>

#include "core/tree/fields.hpp"
#include "storage/records/record_reader.hpp"
#include "storage/records/record_writer.hpp"

namespace lumvex::inside {

// The value truncated toward zero; the nearest LONG where it is out of range, 0 where it is not a number.
inline LONG Truncated(float value) {
    constexpr float kBeyond = 2147483648.0f;
    if (value >= kBeyond) return std::numeric_limits<LONG>::max();
    if (value < -kBeyond) return std::numeric_limits<LONG>::min();
    return value == value ? static_cast<LONG>(value) : 0;
}

class WholeAsFloat {
public:
    explicit WholeAsFloat(LONG initial) : value(static_cast<float>(initial)) {}

    template <class Owner>
    LONG Get(const Owner&) const {
        return Truncated(value);
    }
    template <class Owner>
    void Put(LONG given, Owner& owner) {
        StoreAndTell(owner, LX_EV_DEFAULT, [&] { value = static_cast<float>(given); });
    }

    void CopyFrom(const WholeAsFloat& other) { value = other.value; }

    float value;
};

inline void SaveField(RecordWriter& writer, const WholeAsFloat& field) { writer.F32(field.value); }
inline void LoadField(RecordReader& reader, WholeAsFloat& field) { field.value = reader.F32(); }
inline void PassField(RecordReader& reader, std::type_identity<WholeAsFloat>) { reader.F32(); }

}  // namespace lumvex::inside
