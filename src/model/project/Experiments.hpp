// The measurement set-ups of a project.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/Experiment.hpp"

namespace lumvex::inside {

class CExperiments final : public Collection<CExperiments, IExperiments> {
public:
    Ref<Object> Add(std::u16string_view name) { return AddNamed(name); }
};

}  // namespace lumvex::inside
