// One response measured at a position of a room.
#pragma once

#include "arrays/array_field.hpp"
#include "core/tree/item.hpp"

namespace lumvex::inside {

class CRoomMeasurement final : public Item<CRoomMeasurement, IRoomMeasurement> {
public:
    Array Data;                      // the response; any number of channels
    Array ConfigData;                // the client's own array, of any shape
    Scalar<SHORT> Channel;           // the processor channel that was measured
    Scalar<LONG> SampleRate{48000};  // samples per second, any value
    Scalar<LXIOConfig> IOConfig{LX_IOCFG_UNKNOWN};
};

template <>
struct RecordOf<CRoomMeasurement> : Record<CRoomMeasurement> {
    static constexpr auto fields =
        std::tuple{&CRoomMeasurement::Data, &CRoomMeasurement::ConfigData, &CRoomMeasurement::Channel,
                   &CRoomMeasurement::SampleRate, &CRoomMeasurement::IOConfig};
};

}  // namespace lumvex::inside
