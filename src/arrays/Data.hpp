// The named data of a project: arrays that a client keeps under names of its own.
#pragma once

#include "arrays/Datum.hpp"
#include "core/tree/collection.hpp"

namespace lumvex::inside {

class CData final : public Collection<CData, IData> {
public:
    Ref<Object> Add(std::u16string_view name) { return AddNamed(name); }
};

}  // namespace lumvex::inside
