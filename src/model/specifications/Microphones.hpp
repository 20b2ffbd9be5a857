// The measurement microphones of a library, each under its serial number.
#pragma once

#include "core/tree/collection.hpp"
#include "model/specifications/Microphone.hpp"

namespace lumvex::inside {

class CMicrophones : public NamedCollection<CMicrophones, IMicrophones> {};

}  // namespace lumvex::inside
