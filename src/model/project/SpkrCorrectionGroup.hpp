// One group of corrections.
#pragma once

#include "core/tree/item.hpp"
#include "model/project/SpkrCorrectionLinks.hpp"

namespace lumvex::inside {

class CSpkrCorrectionGroup final : public Item<CSpkrCorrectionGroup, ISpkrCorrectionGroup> {
public:
    Child<CSpkrCorrectionLinks> SpkrCorrectionLinks;
};

template <>
struct RecordOf<CSpkrCorrectionGroup> : Record<CSpkrCorrectionGroup> {
    static constexpr auto fields = std::tuple{&CSpkrCorrectionGroup::SpkrCorrectionLinks};
};

}  // namespace lumvex::inside
