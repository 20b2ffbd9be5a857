// The measurements of a position.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/RoomMeasurement.hpp"

namespace lumvex::inside {

class CRoomMeasurements final : public Collection<CRoomMeasurements, IRoomMeasurements> {
public:
    Ref<Object> Add(std::u16string_view name) { return AddNamed(name); }
};

}  // namespace lumvex::inside
