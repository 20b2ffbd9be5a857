#include "storage/link_index.hpp"

#include <algorithm>

namespace lumvex::inside {

void LinkIndex::Forget() {
    links_.clear();
    made_ = false;
}

std::vector<GUID> LinkIndex::LinksTo(const GUID& target) const {
    const auto found = links_.find(target);
    return found != links_.end() ? found->second : std::vector<GUID>();
}

void LinkIndex::Move(const GUID& link, const std::optional<GUID>& from, const std::optional<GUID>& to) {
    if (from) {
        const auto found = links_.find(*from);
        if (found != links_.end()) {
            std::erase_if(found->second, [&](const GUID& each) { return IsEqualGUID(each, link); });
            if (found->second.empty()) links_.erase(found);
        }
    }
    if (to) links_[*to].push_back(link);
}

}  // namespace lumvex::inside
