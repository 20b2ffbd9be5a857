#include "core/tree/tree_walk.hpp"

#include <unordered_set>

#include "core/base/guid_order.hpp"
#include "core/objects/document.hpp"
#include "core/tree/collection.hpp"

namespace lumvex::inside {

namespace {

// An owner on the way down, and which of its members or child collections comes next.
struct Level {
    explicit Level(Ref<Object> object) : owner(std::move(object)) {
        owner->ForEachChild([this](ChildSlot& slot, const ClassInfo& info) { children.emplace_back(&slot, &info); });
    }

    Ref<Object> owner;
    std::vector<std::pair<ChildSlot*, const ClassInfo*>> children;
    std::size_t next = 0;
};

}  // namespace

void WalkBelow(Object& top, const VisitReference& visit) {
    Document& document = top.ResolveRoot();
    std::unordered_set<GUID, GuidHash> seen;
    std::vector<Level> levels;
    levels.emplace_back(Ref<Object>(&top));
    while (!levels.empty()) {
        Level& level = levels.back();
        const Ref<Object> owner = level.owner;
        Ref<Object> below;
        if (CollectionBase* collection = owner->AsCollection()) {
            const Members& members = collection->members;
            if (level.next >= members.Count()) {
                levels.pop_back();
                continue;
            }
            const Reference reference = members.At(level.next++);
            if (!seen.insert(reference.id).second) continue;
            const ClassInfo& memberClass = *owner->Class().member();
            if (!visit(reference, memberClass, *owner)) return;
            if (memberClass.hasChildren) below = document.Get(reference, memberClass, owner->OwnEntry());
        } else {
            if (level.next >= level.children.size()) {
                levels.pop_back();
                continue;
            }
            const auto [slot, classInfo] = level.children[level.next++];
            if (!slot->reference || !seen.insert(slot->reference->id).second) continue;
            if (!visit(*slot->reference, *classInfo, *owner)) return;
            below = document.GetChild(*slot, *classInfo, *owner);
        }
        if (below) levels.emplace_back(std::move(below));
    }
}

std::vector<Ref<Entry>> EntriesBelow(Object& top) {
    std::vector<Ref<Entry>> entries;
    Document& document = top.ResolveRoot();
    WalkBelow(top, [&](const Reference& reference, const ClassInfo& classInfo, Object& owner) {
        entries.push_back(document.EntryOf(reference, classInfo, owner.OwnEntry()));
        return true;
    });
    return entries;
}

}  // namespace lumvex::inside
