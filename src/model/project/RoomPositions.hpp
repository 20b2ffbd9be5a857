// The positions measured in a room.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/RoomPosition.hpp"

namespace lumvex::inside {

class CRoomPositions final : public Collection<CRoomPositions, IRoomPositions> {
public:
    Ref<Object> Add(std::u16string_view name) { return AddNamed(name); }
};

}  // namespace lumvex::inside
