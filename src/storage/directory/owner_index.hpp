// Which object owns which, for those that are reached by their ID and whose entries do not say it. A walk through the
// whole document fills it. An object keeps its owner until it leaves the document and never comes back, so that the
// index stays right while objects come and go; it only lacks those that came after the walk.
#pragma once

#include <unordered_map>

#include "core/base/guid_order.hpp"
#include "core/objects/entry.hpp"

namespace lumvex::inside {

class OwnerIndex {
public:
    // The owner's entry; null where the index does not have the object.
    Ref<Entry> Find(const GUID& id) const {
        const auto found = owners_.find(id);
        return found != owners_.end() ? found->second : nullptr;
    }
    void Add(const GUID& id, Entry& owner) { owners_.emplace(id, Ref<Entry>(&owner)); }  // throws std::bad_alloc
    void Forget() noexcept { owners_.clear(); }

private:
    std::unordered_map<GUID, Ref<Entry>, GuidHash> owners_;
};

}  // namespace lumvex::inside
