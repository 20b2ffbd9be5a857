#include "model/project/library_reference.hpp"

#include "model/project/Project.hpp"

namespace lumvex::inside {

Ref<Object> LibraryReferenceBase::Accepted(IUnknown* given, const ClassInfo& targetClass) {
    Ref<Object> target = InsideOf(given);
    if (!target || &target->Class() != &targetClass) throw Failure(E_INVALIDARG);
    target->ResolveRoot();
    return target;
}

Ref<Object> LibraryReferenceBase::Find(const Object& owner, const ClassInfo& targetClass, std::u16string_view id,
                                       bool shown) const {
    const auto wanted = ParseGuid(id);
    if (!wanted) return nullptr;
    if (CProject* project = ProjectOf(owner)) {
        const auto reach = shown ? SpecificationsLink::Reach::Shown : SpecificationsLink::Reach::Near;
        if (const Ref<Object> library = project->Specifications.Get(*project, reach)) {
            Document& document = library->ResolveRoot();
            const Ref<Entry> entry = document.Find(*wanted);
            if (entry && entry->classInfo == &targetClass) return document.Get(*entry);
        }
    }
    return held_ && held_->OwnEntry().document ? held_ : nullptr;
}

void LibraryReferenceBase::Hold(const Ref<Object>& target, std::span<std::u16string> path) {
    std::vector<std::u16string> ids;  // from the target up
    for (Ref<Object> step = target; step && step->Class().kind != ClassKind::Root; step = step->ResolveParent())
        if (step->Class().kind == ClassKind::Item) ids.push_back(step->ID());
    ids.resize(path.size());
    std::move(ids.rbegin(), ids.rend(), path.begin());
    held_ = target;
}

}  // namespace lumvex::inside
