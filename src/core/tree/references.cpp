#include "core/tree/references.hpp"

namespace lumvex::inside {

Ref<Object> ReferenceBase::Target(const Object& owner, const ClassInfo& targetClass) const {
    if (target_ || !id_) return target_;
    Document* document = owner.OwnEntry().document;
    const Ref<Entry> entry = document ? document->Find(*id_) : nullptr;
    if (entry && entry->classInfo == &targetClass) target_ = document->Get(*entry);
    return target_;
}

std::optional<GUID> ReferenceBase::IdIn(Document& document, const ClassInfo& targetClass) const {
    if (target_) return target_->OwnEntry().document == &document ? id_ : std::nullopt;
    const Ref<Entry> entry = id_ ? document.Find(*id_) : nullptr;
    return entry && entry->classInfo == &targetClass ? id_ : std::nullopt;
}

void ReferenceBase::ForgetLostTarget(Document& document, const ClassInfo& targetClass) {
    id_ = IdIn(document, targetClass);
}

void ReferenceBase::PointTo(const Ref<Object>& target) noexcept {
    target_ = target;
    id_ = target ? std::optional(target->OwnEntry().id) : std::nullopt;
}

void ReferenceBase::PointTo(const std::optional<GUID>& target) noexcept {
    target_ = nullptr;
    id_ = target;
}

Ref<Object> ReferenceBase::RequireTarget(IUnknown* given, const ClassInfo& targetClass, const Object& owner) {
    Ref<Object> target = InsideOf(given);
    if (!target || &target->Class() != &targetClass) throw Failure(E_INVALIDARG);
    if (&target->ResolveRoot() != &owner.ResolveRoot()) throw Failure(Message::OtherDocument);
    return target;
}

void LinkTargetBase::Move(Object& link, const Ref<Object>& target) {
    link.ResolveRoot().LinkMoved(link.OwnEntry().id, Id(), target->OwnEntry().id);
    PointTo(target);
}

void LinkTargetBase::TellOfLostTarget(const Object& link, const ClassInfo& targetClass) const {
    if (!Id()) return;
    const Ref<Object> old = Target(link, targetClass);
    if (!old || !old->OwnEntry().document) Report(static_cast<int>(Message::Orphaned), {});
}

}  // namespace lumvex::inside
