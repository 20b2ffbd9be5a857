// A link from a template to a measurement, with a scale of its own.
#pragma once

#include "core/tree/item.hpp"

namespace lumvex::inside {

class CMeasurement;

class CSpkrMeasureLink final : public Item<CSpkrMeasureLink, ISpkrMeasureLink> {
public:
    LinkTarget<CMeasurement> Measurement;
    Scalar<float> Scale{1.0f};
};

template <>
struct RecordOf<CSpkrMeasureLink> : Record<CSpkrMeasureLink> {
    static constexpr auto fields = std::tuple{&CSpkrMeasureLink::Measurement, &CSpkrMeasureLink::Scale};
};

}  // namespace lumvex::inside
