// The measurement set-ups of a project.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/Experiment.hpp"

namespace lumvex::inside {

class CExperiments : public NamedCollection<CExperiments, IExperiments> {};

}  // namespace lumvex::inside
