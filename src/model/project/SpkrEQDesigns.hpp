// The design templates for one speaker configuration; no two have the same name.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/SpkrEQDesign.hpp"

namespace lumvex::inside {

class CSpkrEQDesigns : public Collection<CSpkrEQDesigns, ISpkrEQDesigns> {
public:
    Ref<Object> Add(std::u16string_view name) { return AddNamed(name); }
    bool RefusesDuplicateNames() const override { return true; }
};

}  // namespace lumvex::inside
