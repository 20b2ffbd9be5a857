// One listening position: its measurements, side by side.
#pragma once

#include "model/project/RoomMeasurements.hpp"

namespace lumvex::inside {

class CRoomPosition : public Item<CRoomPosition, IRoomPosition> {
public:
    Child<CRoomMeasurements> Measurements;
    Scalar<float> Scale{1.0f};

    // A column per measurement, each with the first channel of its data; short ones are padded with zeros. None without
    // measurements. Whatever keeps a measurement from being a column fails with E_OUTOFMEMORY.
    std::optional<Variant> Data();
    // The first measurement's, in samples per second; none without measurements.
    std::optional<float> SampleRate();
    // Kept for the record; the getter never reads it.
    void SampleRate(float rate);

private:
    Scalar<LONG> sampleRate_{48000};
    friend struct RecordOf<CRoomPosition>;
};

template <>
struct RecordOf<CRoomPosition> : Record<Version{1}> {
    static constexpr auto fields =
        std::tuple{&CRoomPosition::Measurements, &CRoomPosition::sampleRate_, &CRoomPosition::Scale};
};

}  // namespace lumvex::inside
