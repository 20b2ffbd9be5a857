#include "core/item.hpp"

#include "core/collection.hpp"

namespace lumvex::inside {

void ItemBase::Commit(LXEventType type) {
    Document& document = ResolveRoot();
    Raise(document, EventKind::Item, *this, type);
    document.MarkChanged(*this);
}

void ItemBase::RemoveChildren() {
    Document& document = ResolveRoot();
    ForEachChild([&](ChildSlot& slot, const ClassInfo& classInfo) {
        if (!slot.reference) return;
        const Ref<Object> child = document.GetChild(slot, classInfo, *this);
        static_cast<CollectionBase&>(*child).RemoveAll();
        document.Erase(child->OwnEntry());
        slot.reference.reset();
    });
}

void ItemBase::Name(std::u16string_view name) {
    const Ref<Object> parent = ResolveParent();
    OwnEntry().name = name;
    Commit(LX_EV_NAME_CHANGE);
}

std::u16string ItemBase::FQName() const {
    std::u16string path = Name();
    for (Ref<Object> owner = ResolveParent(); owner;) {
        path.insert(0, owner->Name() + kPathSeparator);
        if (owner->Class().kind == ClassKind::Root) break;
        owner = owner->ResolveParent();
    }
    return path;
}

void ItemBase::Timestamp(DATE date) {
    const Ref<Object> parent = ResolveParent();
    timestamp = date;
    Commit(LX_EV_NAME_CHANGE);
}

void ItemBase::Locks(LONG locks) {
    OwnEntry().locks = locks;
    Commit(LX_EV_DEFAULT);
}

Ref<Object> ItemBase::FindID(std::u16string_view id) {
    return FindBelow(*this, ParseGuid(id).value_or(GUID_NULL));
}

// Copying is not offered yet: nothing can be copied anywhere.
LONG ItemBase::CanCopy(_Collection*) const { return 0; }
Ref<Object> ItemBase::CopyNoChildren(_Collection*) const { throw Failure(E_NOTIMPL); }
Ref<Object> ItemBase::CopyWithParents(_Root*) const { throw Failure(E_NOTIMPL); }
Ref<Object> ItemBase::Copy(_Collection*) const { throw Failure(E_NOTIMPL); }
void ItemBase::CopyContents(_Collectable*) const { throw Failure(E_NOTIMPL); }

}  // namespace lumvex::inside
