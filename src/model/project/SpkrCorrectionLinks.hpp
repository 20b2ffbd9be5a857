// The corrections of a group.
#pragma once

#include "core/tree/collection.hpp"
#include "model/project/SpkrCorrectionLink.hpp"

namespace lumvex::inside {

class CSpkrCorrectionLinks : public Collection<CSpkrCorrectionLinks, ISpkrCorrectionLinks> {
public:
    Ref<Object> Add(ICorrection* target) { return AddLink(LinkTarget<CCorrection>::Checked(target, *this)); }
};

}  // namespace lumvex::inside
