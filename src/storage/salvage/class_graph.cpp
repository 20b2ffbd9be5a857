#include "storage/salvage/class_graph.hpp"

namespace lumvex::inside {

namespace {

const ClassInfo* Looked(const std::map<const ClassInfo*, const ClassInfo*>& map, const ClassInfo& key) {
    const auto found = map.find(&key);
    return found == map.end() ? nullptr : found->second;
}

}  // namespace

ClassGraph::ClassGraph() {
    for (const ClassInfo* info : AllClasses()) {
        if (info->kind == ClassKind::Collection) {
            collections_.emplace(info->member(), info);
        } else if (info->hasChildren) {
            info->create()->ForEachChild(
                [&](ChildSlot&, const ClassInfo& collection) { owners_.emplace(&collection, info); });
        }
    }
}

const ClassInfo* ClassGraph::OwnerOf(const ClassInfo& collection) const { return Looked(owners_, collection); }
const ClassInfo* ClassGraph::CollectionOf(const ClassInfo& item) const { return Looked(collections_, item); }

const ClassInfo* ClassGraph::RootOf(const ClassInfo& any) const {
    const ClassInfo* at = &any;
    while (at && at->kind != ClassKind::Root) at = at->kind == ClassKind::Collection ? OwnerOf(*at) : CollectionOf(*at);
    return at;
}

}  // namespace lumvex::inside
