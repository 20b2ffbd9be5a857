// A link from a group to a correction.
#pragma once

#include "core/tree/item.hpp"

namespace lumvex::inside {

class CCorrection;

class CSpkrCorrectionLink final : public Item<CSpkrCorrectionLink, ISpkrCorrectionLink> {
public:
    LinkTarget<CCorrection> Correction;
};

template <>
struct RecordOf<CSpkrCorrectionLink> : Record<CSpkrCorrectionLink> {
    static constexpr auto fields = std::tuple{&CSpkrCorrectionLink::Correction};
};

}  // namespace lumvex::inside
