// The corrections designed for a speaker in one configuration.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/Correction.hpp"

namespace lumvex::inside {

class CCorrections : public Collection<CCorrections, ICorrections> {
public:
    Ref<Object> Add(std::u16string_view name, IMeasurement* measurement);  // which may be null
};

}  // namespace lumvex::inside
