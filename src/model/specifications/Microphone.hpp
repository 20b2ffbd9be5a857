// One measurement microphone: its calibration curve and how that is applied.
#pragma once

#include "arrays/array_field.hpp"
#include "core/tree/item.hpp"

namespace lumvex::inside {

class CMicrophone : public Item<CMicrophone, IMicrophone> {
    static constexpr ArrayRules kOneChannel{[](const Object&) { return LONG{1}; }};

public:
    ArrayOf<kOneChannel> Data;
    Scalar<LXCalMethod> CalibrationMethod{LX_CAL_FORWARD};
    Scalar<LONG> Delay;
    Scalar<float> Scale{1.0f};
    Scalar<LONG> SampleRate{48000};  // samples per second
};

template <>
struct RecordOf<CMicrophone> : Record<CMicrophone> {
    static constexpr auto fields =
        std::tuple{Since<1>(&CMicrophone::CalibrationMethod), Since<1>(&CMicrophone::Delay),
                   Since<2>(&CMicrophone::Scale), &CMicrophone::Data, Since<3>(&CMicrophone::SampleRate)};
};

}  // namespace lumvex::inside
