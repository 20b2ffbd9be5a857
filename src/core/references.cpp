#include "core/references.hpp"

namespace lumvex::inside {

Ref<Object> ReferenceBase::Target(const Object& owner) const {
    if (target_ && target_->OwnEntry().document) return target_;
    target_ = nullptr;
    if (!id_) return nullptr;
    Document* document = owner.OwnEntry().document;
    Entry* entry = document ? document->Find(*id_) : nullptr;
    if (entry) target_ = document->Get(*entry);
    return target_;
}

std::optional<GUID> ReferenceBase::TargetId() const {
    if (target_ && !target_->OwnEntry().document) return std::nullopt;
    return id_;
}

void ReferenceBase::Point(const Ref<Object>& target) {
    target_ = target;
    id_ = target ? std::optional(target->OwnEntry().id) : std::nullopt;
}

void ReferenceBase::Point(const std::optional<GUID>& target) {
    target_ = nullptr;
    id_ = target;
}

Ref<Object> ReferenceBase::Accepted(IUnknown* given, const ClassInfo& targetClass, const Object& owner) {
    Ref<Object> target = InsideOf(given);
    if (!target || &target->Class() != &targetClass) throw Failure(E_INVALIDARG);
    if (&target->ResolveRoot() != &owner.ResolveRoot()) throw Failure(Message::OtherDocument);
    return target;
}

void LinkTargetBase::Start(Object& link, const Ref<Object>& target) {
    const auto before = TargetId();
    Point(target);
    link.ResolveRoot().LinkMoved(link.OwnEntry().id, before, TargetId());
}

// An old target that is orphaned is told of, but does not keep the link from moving on.
void LinkTargetBase::Repoint(Object& link, const Ref<Object>& target) {
    const Ref<Object> old = Target(link);
    const bool hadTarget = TargetId().has_value();
    if (hadTarget && !old) Report(static_cast<int>(Message::Orphaned), {});
    Start(link, target);
}

}  // namespace lumvex::inside
