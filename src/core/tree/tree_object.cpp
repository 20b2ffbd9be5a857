#include "core/tree/tree_object.hpp"

#include "core/objects/document.hpp"
#include "core/tree/tree_walk.hpp"

namespace lumvex::inside {

std::vector<EnumeratedObject> TreeObject::ItemsBelow() {
    std::vector<EnumeratedObject> found;
    WalkBelow(*this, [&](const Reference& reference, const ClassInfo& classInfo, Object& owner) {
        if (classInfo.kind == ClassKind::Item) found.push_back({reference.id, owner.OwnEntry().id});
        return true;
    });
    return found;
}

Ref<IUnknown> TreeObject::NewDescendantsEnum() { return MakeEnumerator(*this, ItemsBelow()); }

Ref<IUnknown> TreeObject::NewDependentLinksEnum() {
    std::vector<EnumeratedObject> links;
    for (const GUID& id : ResolveRoot().DependentLinks(OwnEntry().id)) links.push_back({id, GUID_NULL});
    return MakeEnumerator(*this, std::move(links));
}

}  // namespace lumvex::inside
