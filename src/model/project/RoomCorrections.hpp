// The corrections of a group.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/RoomCorrection.hpp"

namespace lumvex::inside {

class CRoomCorrections final : public Collection<CRoomCorrections, IRoomCorrections> {
public:
    Ref<Object> Add(std::u16string_view name) { return AddNamed(name); }
};

}  // namespace lumvex::inside
