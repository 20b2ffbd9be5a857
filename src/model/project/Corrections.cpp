#include "model/project/Corrections.hpp"

namespace lumvex::inside {

Ref<Object> CCorrections::Add(std::u16string_view name, IMeasurement* measurement) {
    const Ref<Object> madeFrom = ItemReference<CMeasurement>::Checked(measurement, *this);
    Ref<Object> correction = AddNamed(name);
    static_cast<CCorrection&>(*correction).Measurement.PointTo(madeFrom);
    return correction;
}

}  // namespace lumvex::inside
