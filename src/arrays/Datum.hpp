// One named array of samples with a sample rate; nothing in the model interprets it.
#pragma once

#include "arrays/array_field.hpp"
#include "core/tree/item.hpp"

namespace lumvex::inside {

class CDatum : public Item<CDatum, IDatum> {
public:
    Array Data;                      // any number of channels
    Scalar<LONG> SampleRate{48000};  // samples per second, any value
};

template <>
struct RecordOf<CDatum> : Record<CDatum> {
    static constexpr auto fields = std::tuple{&CDatum::Data, Since<2>(&CDatum::SampleRate)};
};

}  // namespace lumvex::inside
