// Which links of a document point at which object. Made when it is first asked for, kept up to date from then on.
#pragma once

#include <optional>
#include <unordered_map>
#include <vector>

#include "core/base/guid_order.hpp"

namespace lumvex::inside {

class LinkIndex {
public:
    bool IsMade() const { return made_; }
    void Made() { made_ = true; }
    void Forget();

    // In the order in which the links came to point there.
    std::vector<GUID> LinksTo(const GUID& target) const;
    // Throws std::bad_alloc and has then done nothing; without a new target it cannot fail.
    void Move(const GUID& link, const std::optional<GUID>& from, const std::optional<GUID>& to);

private:
    bool made_ = false;
    std::unordered_map<GUID, std::vector<GUID>, GuidHash> links_;
};

}  // namespace lumvex::inside
