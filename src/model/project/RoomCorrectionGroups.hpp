// The groups of corrections of a room.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/RoomCorrectionGroup.hpp"

namespace lumvex::inside {

class CRoomCorrectionGroups final : public Collection<CRoomCorrectionGroups, IRoomCorrectionGroups> {
public:
    Ref<Object> Add(std::u16string_view name) { return AddNamed(name); }
};

}  // namespace lumvex::inside
