// One group of corrections of a room.
#pragma once

#include "model/project/RoomCorrections.hpp"

namespace lumvex::inside {

class CRoomCorrectionGroup final : public Item<CRoomCorrectionGroup, IRoomCorrectionGroup> {
public:
    Child<CRoomCorrections> Corrections;
};

template <>
struct RecordOf<CRoomCorrectionGroup> : Record<CRoomCorrectionGroup> {
    static constexpr auto fields = std::tuple{&CRoomCorrectionGroup::Corrections};
};

}  // namespace lumvex::inside
