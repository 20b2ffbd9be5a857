// The output positions of a profile.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/BoxCfgSpkr.hpp"

namespace lumvex::inside {

class CBoxCfgSpkrs final : public Collection<CBoxCfgSpkrs, IBoxCfgSpkrs> {
public:
    Ref<Object> Add(std::u16string_view name) { return AddNamed(name); }
};

}  // namespace lumvex::inside
