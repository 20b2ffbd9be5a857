// The measurements taken of a speaker in one configuration.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/Measurement.hpp"

namespace lumvex::inside {

class CMeasurements : public Collection<CMeasurements, IMeasurements> {
public:
    Ref<Object> Add(std::u16string_view name, IExperiment* experiment);  // which may be null
};

}  // namespace lumvex::inside
