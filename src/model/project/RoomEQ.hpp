// One room: the positions measured in it, how the measurements are analysed, and the corrections designed from them.
#pragma once

#include "model/project/RoomCorrectionGroups.hpp"
#include "model/project/RoomPositions.hpp"

namespace lumvex::inside {

class CRoomEQ final : public Item<CRoomEQ, IRoomEQ> {
public:
    Child<CRoomCorrectionGroups> CorrectionGroups;
    Child<CRoomPositions> Positions;
    Scalar<float> MeasureStart, MeasureEnd;  // of the analysis window, milliseconds
    Scalar<float> MeasSmooth;
    Scalar<LXMSmooth> MeasSmoothMethod{LX_MSMTH_CHEBY};
    Array EqualiserData;  // any shape
};

template <>
struct RecordOf<CRoomEQ> : Record<CRoomEQ> {
    static constexpr auto fields =
        std::tuple{&CRoomEQ::CorrectionGroups, &CRoomEQ::Positions,        &CRoomEQ::MeasureStart, &CRoomEQ::MeasureEnd,
                   &CRoomEQ::MeasSmooth,       &CRoomEQ::MeasSmoothMethod, &CRoomEQ::EqualiserData};
};

}  // namespace lumvex::inside
