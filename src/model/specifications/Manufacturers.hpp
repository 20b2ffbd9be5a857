// The manufacturers of a library.
#pragma once

#include "core/tree/collection.hpp"
#include "model/specifications/Manufacturer.hpp"

namespace lumvex::inside {

class CManufacturers final : public Collection<CManufacturers, IManufacturers> {
public:
    Ref<Object> Add(std::u16string_view name) { return AddNamed(name); }
};

}  // namespace lumvex::inside
