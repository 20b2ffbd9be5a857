#include "core/tree/item.hpp"

#include "core/tree/collection.hpp"
#include "core/tree/copy.hpp"

namespace lumvex::inside {

namespace {

// Another program's object cannot take a copy.
Ref<Object> ModelObject(IUnknown* object) {
    Ref<Object> inside = InsideOf(object);
    if (!inside) throw Failure(E_INVALIDARG);
    return inside;
}

// A client may hand in an object of any class, whatever the interface of the pointer says.
CollectionBase& CollectionOf(const Ref<Object>& object) {
    CollectionBase* collection = object->AsCollection();
    if (!collection) throw Failure(E_INVALIDARG);
    return *collection;
}

}  // namespace

void ItemBase::Commit(LXEventType type) {
    Document& document = ResolveRoot();
    Raise(document, EventKind::Item, *this, type);
    document.MarkChanged(*this);
}

void ItemBase::EmptyChildren() {
    ForEachChild([&](ChildSlot& slot, const ClassInfo& classInfo) {
        if (!slot.reference) return;
        const Ref<Object> child = ResolveRoot().GetChild(slot, classInfo, *this);
        child->AsCollection()->RemoveAll();
    });
}

std::vector<Ref<Entry>> ItemBase::EmptyCollections() {
    Document& document = ResolveRoot();
    std::vector<Ref<Entry>> collections;
    ForEachChild([&](ChildSlot& slot, const ClassInfo& classInfo) {
        if (!slot.reference) return;
        const Ref<Object> child = document.GetChild(slot, classInfo, *this);
        if (child->AsCollection()->Count() != 0) throw Failure(Message::NotAllRemoved);
        collections.emplace_back(&child->OwnEntry());
    });
    return collections;
}

void ItemBase::Name(std::u16string_view name) {
    const Ref<Object> parent = ResolveParent();
    CollectionBase* list = parent->AsCollection();
    const bool isMarked = list && MarkOf(name) != MarkOf(OwnEntry().name) && list->HasMarks();
    ShortText text(name);
    StoreAndTell(*this, LX_EV_NAME_CHANGE, [&] {
        OwnEntry().name.Swap(text);
        if (isMarked) list->MemberRenamed(OwnEntry());
    });
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
    StoreAndTell(*this, LX_EV_NAME_CHANGE, [&] { timestamp = date; });
}

void ItemBase::Locks(LONG locks) {
    StoreAndTell(*this, LX_EV_DEFAULT, [&] { OwnEntry().locks = locks; });
}

Ref<Object> ItemBase::FindID(std::u16string_view id) { return FindBelow(*this, ParseGuid(id).value_or(GUID_NULL)); }

LONG ItemBase::CanCopy(_Collection* destination) const {
    const Ref<Object> collection = InsideOf(destination);
    return collection && collection->Class().member() == &Class() && collection->OwnEntry().document ? 1 : 0;
}

Ref<Object> ItemBase::CopyNoChildren(_Collection* destination) {
    const Ref<Object> collection = ModelObject(destination);
    return CopyInto(*this, CollectionOf(collection), false);
}

Ref<Object> ItemBase::Copy(_Collection* destination) {
    const Ref<Object> collection = ModelObject(destination);
    return CopyInto(*this, CollectionOf(collection), true);
}

Ref<Object> ItemBase::CopyWithParents(_Root* destination) { return CopyBelow(*this, *ModelObject(destination)); }

void ItemBase::CopyContents(_Collectable* destination) {
    const Ref<Object> receiver = ModelObject(destination);
    ItemBase* item = receiver->AsItem();
    if (!item) throw Failure(E_INVALIDARG);
    ReplaceContents(*this, *item);
}

}  // namespace lumvex::inside
