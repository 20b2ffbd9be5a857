#include "core/item.hpp"

#include "core/collection.hpp"
#include "core/copy.hpp"
#include "core/strings.hpp"

namespace lumvex::inside {

namespace {

// Somebody else's object cannot take a copy.
Ref<Object> OurOwn(IUnknown* object) {
    Ref<Object> inside = InsideOf(object);
    if (!inside) throw Failure(E_INVALIDARG);
    return inside;
}

}  // namespace

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
        const int title = owner->Class().title;  // collections are named by their class
        path.insert(0, (title != 0 ? std::u16string(StringOf(title)) : owner->Name()) + kPathSeparator);
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

LONG ItemBase::CanCopy(_Collection* destination) const {
    const Ref<Object> collection = InsideOf(destination);
    return collection && collection->Class().member() == &Class() && collection->OwnEntry().document ? 1 : 0;
}

Ref<Object> ItemBase::CopyNoChildren(_Collection* destination) {
    return CopyInto(*this, static_cast<CollectionBase&>(*OurOwn(destination)), false);
}

Ref<Object> ItemBase::Copy(_Collection* destination) {
    return CopyInto(*this, static_cast<CollectionBase&>(*OurOwn(destination)), true);
}

Ref<Object> ItemBase::CopyWithParents(_Root* destination) { return CopyBelow(*this, *OurOwn(destination)); }

void ItemBase::CopyContents(_Collectable* destination) {
    ReplaceContents(*this, static_cast<ItemBase&>(*OurOwn(destination)));
}

}  // namespace lumvex::inside
