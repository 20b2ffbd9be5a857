// One speaker model with the configurations in which it can be driven.
#pragma once

#include "core/tree/item.hpp"
#include "model/specifications/ModelConfigs.hpp"

namespace lumvex::inside {

class CModel final : public Item<CModel, IModel> {
public:
    Child<CModelConfigs> ModelConfigs;

    Ref<Object> Manufacturer() const { return ResolveParent()->ResolveParent(); }
};

template <>
struct RecordOf<CModel> : Record<CModel> {
    static constexpr auto fields = std::tuple{&CModel::ModelConfigs};
};

}  // namespace lumvex::inside
