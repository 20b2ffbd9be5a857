// The models of a manufacturer.
#pragma once

#include "core/tree/collection.hpp"
#include "model/specifications/Model.hpp"

namespace lumvex::inside {

class CModels final : public Collection<CModels, IModels> {
public:
    Ref<Object> Add(std::u16string_view name) { return AddNamed(name); }
};

}  // namespace lumvex::inside
