// The corrections of a group.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/RoomCorrection.hpp"

namespace lumvex::inside {

class CRoomCorrections : public NamedCollection<CRoomCorrections, IRoomCorrections> {};

}  // namespace lumvex::inside
