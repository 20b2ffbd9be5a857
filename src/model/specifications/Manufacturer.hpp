// One manufacturer with its models.
#pragma once

#include "core/tree/item.hpp"
#include "model/specifications/Models.hpp"

namespace lumvex::inside {

class CManufacturer final : public Item<CManufacturer, IManufacturer> {
public:
    Child<CModels> Models;
};

template <>
struct RecordOf<CManufacturer> : Record<CManufacturer> {
    static constexpr auto fields = std::tuple{&CManufacturer::Models};
};

}  // namespace lumvex::inside
