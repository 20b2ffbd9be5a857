// The rooms of a project.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/RoomEQ.hpp"

namespace lumvex::inside {

class CRoomEQs : public NamedCollection<CRoomEQs, IRoomEQs> {};

}  // namespace lumvex::inside
