// One listening position: its measurements, side by side.
#pragma once

#include "model/project/RoomMeasurements.hpp"

namespace lumvex::inside {

class CRoomPosition final : public Item<CRoomPosition, IRoomPosition> {
public:
    Child<CRoomMeasurements> Measurements;
    Scalar<float> Scale{1.0f};

    // One column for each measurement: the first channel of its data, with zeros up to the length of the longest. None
    // when there are no measurements. Fails with E_OUTOFMEMORY when a measurement has no numbers, whatever the cause.
    std::optional<Variant> Data();
    // That of the first measurement, in samples per second; none when there are no measurements.
    std::optional<float> SampleRate();
    // Stored with the position, truncated to a whole number; SampleRate() does not answer it.
    void SampleRate(float rate);

private:
    Scalar<LONG> sampleRate_{48000};
    friend struct RecordOf<CRoomPosition>;
};

template <>
struct RecordOf<CRoomPosition> : Record<CRoomPosition> {
    static constexpr auto fields = std::tuple{
        &CRoomPosition::Measurements,
        Private("The sample rate that was put, samples per second; the property answers the first measurement's.",
                &CRoomPosition::sampleRate_),
        &CRoomPosition::Scale};
};

}  // namespace lumvex::inside
