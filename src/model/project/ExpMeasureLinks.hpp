// The measurements taken with an experiment.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/ExpMeasureLink.hpp"

namespace lumvex::inside {

class CExpMeasureLinks : public Collection<CExpMeasureLinks, IExpMeasureLinks> {
public:
    Ref<Object> Add(IMeasurement* target) { return AddLink(LinkTarget<CMeasurement>::Checked(target, *this)); }
};

}  // namespace lumvex::inside
