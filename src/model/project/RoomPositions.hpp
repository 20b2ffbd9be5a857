// The positions measured in a room.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/RoomPosition.hpp"

namespace lumvex::inside {

class CRoomPositions : public NamedCollection<CRoomPositions, IRoomPositions> {};

}  // namespace lumvex::inside
