// The rooms of a project.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/RoomEQ.hpp"

namespace lumvex::inside {

class CRoomEQs final : public Collection<CRoomEQs, IRoomEQs> {
public:
    Ref<Object> Add(std::u16string_view name) { return AddNamed(name); }
};

}  // namespace lumvex::inside
