// The item base: what a measurement, a correction, a named array and every other item have in common. A class derives
// from Item<its own name, its interface> and adds its fields, its record and what is particular to it.
#pragma once

#include "core/tree/fields.hpp"
#include "core/tree/tree_object.hpp"
#include "interfaces/dispatch.hpp"

namespace lumvex::inside {

// What separates the names of a fully qualified name.
inline constexpr char16_t kPathSeparator = u'/';

class ItemBase : public TreeObject {
public:
    ItemBase* AsItem() noexcept override { return this; }
    using Object::AsItem;

    DATE timestamp = 0;  // days since 30 December 1899, as the client put it

    // How every put ends: finds the root (4009 when the item is orphaned), raises the event, marks document and item as
    // changed.
    void Commit(LXEventType type);
    // Removes all members of the item's own collections, before the item itself is removed. Throws when one of them
    // keeps members. Delivers events, so that handlers run.
    void EmptyChildren();
    // The entries of the item's own collections, which have to be empty: throws 4018 when a handler has added a member.
    std::vector<Ref<Entry>> EmptyCollections();

    // The plain members behind _Collectable; those that items share with collections are Object's.
    using Object::Name;
    void Name(std::u16string_view name);
    std::u16string FQName() const;
    DATE Timestamp() const { return timestamp; }
    void Timestamp(DATE date);
    YesNo IsSameID(IUnknown* test) const { return HasSameID<_Collectable>(test); }
    Ref<Object> ParentBase() const { return ResolveParent(); }
    LONG IsLink() const { return Class().isLink ? 1 : 0; }
    virtual Ref<Object> LinkDispatch() const { return nullptr; }  // of link classes: the target
    virtual LONG DataSupport() const = 0;
    LONG Locks() const { return OwnEntry().locks; }
    void Locks(LONG locks);
    Ref<Object> FindID(std::u16string_view id);
    LONG CanCopy(_Collection* destination) const;
    Ref<Object> CopyNoChildren(_Collection* destination);
    Ref<Object> CopyWithParents(_Root* destination);
    Ref<Object> Copy(_Collection* destination);
    void CopyContents(_Collectable* destination);

    // The typed back-references of the classes' own interfaces.
    Ref<Object> Parent() const { return ResolveParent(); }
    Ref<Object> Root() const { return RootBase(); }

    static constexpr std::u16string_view kErrorSource{};
};

template <class Derived, class Interface>
class Item : public ItemBase {
public:
    const ClassInfo& Class() const noexcept override { return ClassOf<Derived>(); }

    LONG DataSupport() const override {
        const DispatchTable& members = DispatchTable::Of<Interface>();
        return (members.HasMember(LX_DISPDATA2) ? LX_DATA2 : 0) |
               (members.HasMember(LX_DISPDATANAME) ? LX_DATANAME : 0);
    }

    void ForEachChild(const Object::ChildVisitor& visit) override {
        VisitChildFields(static_cast<Derived&>(*this), visit);
    }
    void ForEachReference(const Object::ReferenceVisitor& visit) override {
        VisitReferenceFields(static_cast<Derived&>(*this), visit);
    }
    void ForEachLinkedReference(const Object::LinkedReferenceVisitor& visit) const override {
        ForEachField(static_cast<const Derived&>(*this), [&](const auto& field, const auto&) {
            using Field = std::remove_cvref_t<decltype(field)>;
            if constexpr (requires { Field::kIsIntoLinkedDocument; }) visit(field.Id(), Field::TargetInfo());
        });
    }
    Ref<Object> LinkDispatch() const override {
        Ref<Object> target;
        ForEachField(static_cast<const Derived&>(*this), [&](const auto& field, const auto&) {
            using Field = std::remove_cvref_t<decltype(field)>;
            if constexpr (std::is_base_of_v<LinkTargetBase, Field>) target = field.Target(*this, Field::TargetInfo());
        });
        return target;
    }
    void Materialise() override { MaterialiseFields(static_cast<Derived&>(*this)); }
};

}  // namespace lumvex::inside
