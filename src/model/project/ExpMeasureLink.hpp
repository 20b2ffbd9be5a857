// A link from an experiment to one of its measurements.
#pragma once

#include "core/tree/item.hpp"

namespace lumvex::inside {

class CMeasurement;

class CExpMeasureLink final : public Item<CExpMeasureLink, IExpMeasureLink> {
public:
    LinkTarget<CMeasurement> Measurement;
};

template <>
struct RecordOf<CExpMeasureLink> : Record<CExpMeasureLink> {
    static constexpr auto fields = std::tuple{&CExpMeasureLink::Measurement};
};

}  // namespace lumvex::inside
