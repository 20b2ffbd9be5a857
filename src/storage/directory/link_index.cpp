#include "storage/directory/link_index.hpp"

#include <algorithm>

#include "generic/make_room.hpp"

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
    std::vector<GUID>* const joined = to ? &links_[*to] : nullptr;
    if (joined) MakeRoom(*joined, 1);
    if (const auto left = from ? links_.find(*from) : links_.end(); left != links_.end()) {
        std::erase_if(left->second, [&](const GUID& each) { return IsEqualGUID(each, link); });
        if (left->second.empty() && &left->second != joined) links_.erase(left);
    }
    if (joined) joined->push_back(link);
}

}  // namespace lumvex::inside
