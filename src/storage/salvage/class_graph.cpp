#include "storage/salvage/class_graph.hpp"

#include <algorithm>

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
            info->create()->ForEachChild([&](ChildSlot&, const ClassInfo& collection) {
                owners_.emplace(&collection, info);
                children_[info].push_back(&collection);
            });
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

int ClassGraph::Nearness(const ClassInfo& before, const ClassInfo& behind) const {
    constexpr int kNearest = 4;
    if (before.kind == ClassKind::Collection && before.member() == &behind) return kNearest;
    if (OwnerOf(behind) == &before) return kNearest;
    // Else all below `before` has been saved, and the next one beside it or beside an owner comes.
    const ClassInfo* item = before.kind == ClassKind::Collection ? nullptr : &before;
    const ClassInfo* list = item ? CollectionOf(*item) : &before;
    for (int points = kNearest; list && points > 0; --points) {
        if (item == &behind) return points;
        const ClassInfo* owner = OwnerOf(*list);
        const auto siblings = owner ? children_.find(owner) : children_.end();
        if (siblings != children_.end()) {
            const auto here = std::ranges::find(siblings->second, list);
            if (std::find(here, siblings->second.end(), &behind) != siblings->second.end() && &behind != list)
                return points;
        }
        item = owner;
        list = owner ? CollectionOf(*owner) : nullptr;
    }
    return 0;
}

}  // namespace lumvex::inside
