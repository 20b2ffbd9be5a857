#include "model/project/Measurements.hpp"

namespace lumvex::inside {

Ref<Object> CMeasurements::Add(std::u16string_view name, IExperiment* experiment) {
    const Ref<Object> takenWith = ItemReference<CExperiment>::Checked(experiment, *this);
    Ref<Object> measurement = AddNamed(name);
    static_cast<CMeasurement&>(*measurement).Experiment.PointTo(takenWith);
    return measurement;
}

}  // namespace lumvex::inside
