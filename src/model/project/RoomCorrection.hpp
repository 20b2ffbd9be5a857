// One room correction: its filter data.
#pragma once

#include "arrays/array_field.hpp"
#include "core/tree/item.hpp"

namespace lumvex::inside {

class CRoomCorrection final : public Item<CRoomCorrection, IRoomCorrection> {
public:
    Array Data;  // any number of channels
};

template <>
struct RecordOf<CRoomCorrection> : Record<CRoomCorrection> {
    static constexpr auto fields = std::tuple{&CRoomCorrection::Data};
};

}  // namespace lumvex::inside
