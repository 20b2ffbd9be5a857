// The models of a manufacturer.
#pragma once

#include "core/tree/collection.hpp"
#include "model/specifications/Model.hpp"

namespace lumvex::inside {

class CModels : public NamedCollection<CModels, IModels> {};

}  // namespace lumvex::inside
