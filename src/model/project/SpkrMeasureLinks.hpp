// The measurements that a template draws on.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/SpkrMeasureLink.hpp"

namespace lumvex::inside {

class CSpkrMeasureLinks : public Collection<CSpkrMeasureLinks, ISpkrMeasureLinks> {
public:
    Ref<Object> Add(IMeasurement* target) { return AddLink(LinkTarget<CMeasurement>::Checked(target, *this)); }
};

}  // namespace lumvex::inside
