// The crossover designs of a project: one entry per speaker configuration, made with the collection.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/CrossoverConfig.hpp"

namespace lumvex::inside {

class CCrossoverConfigs final : public Collection<CCrossoverConfigs, ICrossoverConfigs> {
public:
    bool RefusesDuplicateNames() const override { return true; }
    Ref<Object> FindCounterpart(ItemBase& other) override;  // the entry of the same configuration
    void Arrived(Arrival how) override;
};

}  // namespace lumvex::inside
