// The manufacturers of a library.
#pragma once

#include "core/tree/collection.hpp"
#include "model/specifications/Manufacturer.hpp"

namespace lumvex::inside {

class CManufacturers : public NamedCollection<CManufacturers, IManufacturers> {};

}  // namespace lumvex::inside
