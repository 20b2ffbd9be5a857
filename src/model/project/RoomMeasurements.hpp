// The measurements of a position.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/RoomMeasurement.hpp"

namespace lumvex::inside {

class CRoomMeasurements : public NamedCollection<CRoomMeasurements, IRoomMeasurements> {};

}  // namespace lumvex::inside
