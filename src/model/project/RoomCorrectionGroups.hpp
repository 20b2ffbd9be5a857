// The groups of corrections of a room.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/RoomCorrectionGroup.hpp"

namespace lumvex::inside {

class CRoomCorrectionGroups : public NamedCollection<CRoomCorrectionGroups, IRoomCorrectionGroups> {};

}  // namespace lumvex::inside
