// The measurement microphones of a library, each under its serial number.
#pragma once

#include "core/tree/collection.hpp"
#include "model/specifications/Microphone.hpp"

namespace lumvex::inside {

class CMicrophones final : public Collection<CMicrophones, IMicrophones> {
public:
    Ref<Object> Add(std::u16string_view serialNumber) { return AddNamed(serialNumber); }
};

}  // namespace lumvex::inside
