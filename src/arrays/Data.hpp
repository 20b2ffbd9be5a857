// The named data of a project: arrays that a client keeps under names of its own.
#pragma once

#include "arrays/Datum.hpp"
#include "core/tree/collection.hpp"

namespace lumvex::inside {

class CData : public NamedCollection<CData, IData> {};

}  // namespace lumvex::inside
