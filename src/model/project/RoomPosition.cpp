#include "model/project/RoomPosition.hpp"

#include "arrays/convert_array.hpp"
#include "model/project/whole_as_float.hpp"

namespace lumvex::inside {

std::optional<Variant> CRoomPosition::Data() {
    const Ref<Object> collection = Measurements.Get(*this);
    auto& measurements = static_cast<CRoomMeasurements&>(*collection);
    const LONG count = measurements.Count();
    if (count == 0) return std::nullopt;
    const LXArray type = ResolveRoot().ArrayType();
    try {
        std::vector<ArraySlot> columns;
        columns.reserve(static_cast<std::size_t>(count));
        for (LONG position = 1; position <= count; ++position) {
            const Ref<Object> member = measurements.Item(position);
            columns.push_back(static_cast<const CRoomMeasurement&>(*member).Data.slot);
        }
        return ConvertSideBySide(columns, type);
    } catch (const std::exception&) {
        throw Failure(E_OUTOFMEMORY);  // clients rely on this one code for every cause
    }
}

std::optional<float> CRoomPosition::SampleRate() {
    const Ref<Object> collection = Measurements.Get(*this);
    auto& measurements = static_cast<CRoomMeasurements&>(*collection);
    if (measurements.Count() == 0) return std::nullopt;
    const Ref<Object> first = measurements.Item(1);
    return static_cast<float>(static_cast<const CRoomMeasurement&>(*first).SampleRate.value);
}

void CRoomPosition::SampleRate(float rate) { sampleRate_.Put(Truncated(rate), *this); }

}  // namespace lumvex::inside
