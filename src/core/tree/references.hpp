// References from one item to another item of the same document. A reference is kept as an ID and followed when it is
// used. The document also indexes the targets of links, so that it can say which links lead to an object.
#pragma once

#include "core/objects/document.hpp"
#include "core/tree/record_of.hpp"

namespace lumvex::inside {

// What both kinds share. Every use names the class of the target: in a file any object may have the ID, and an object
// of another class is no target.
class ReferenceBase {
public:
    // The target, loaded when it has to be; null when there is none. Once found it is kept in memory as long as the
    // reference, so that it goes on being answered after it was removed from the document.
    Ref<Object> Target(const Object& owner, const ClassInfo& targetClass) const;
    // The ID under which the document has the target, as records and indexes know it; none when the reference is empty,
    // or when the document does not have the target, or not any more.
    std::optional<GUID> IdIn(Document& document, const ClassInfo& targetClass) const;
    // Empties a reference to an object that the document does not have any more, so that its ID is not saved.
    void ForgetLostTarget(Document& document, const ClassInfo& targetClass);
    // The ID that was read or put, whether there is an object of it or not.
    const std::optional<GUID>& Id() const { return id_; }

    void PointTo(const Ref<Object>& target) noexcept;          // null empties the reference
    void PointTo(const std::optional<GUID>& target) noexcept;  // looked for when the reference is used
    void CopyFrom(const ReferenceBase& other) { PointTo(other.id_); }

protected:
    // The object behind a client's pointer. It has to be of the class (E_INVALIDARG) and in a document (4009), the
    // owner's (4015).
    static Ref<Object> RequireTarget(IUnknown* given, const ClassInfo& targetClass, const Object& owner);

private:
    std::optional<GUID> id_;
    mutable Ref<Object> target_;
};

// May be empty; a put of nothing empties it.
template <class TargetClass>
class ItemReference : public ReferenceBase {
public:
    static const ClassInfo& TargetInfo() { return ClassOf<TargetClass>(); }

    // What a client gives for it: null for nothing.
    static Ref<Object> Checked(IUnknown* given, const Object& owner) {
        return given ? RequireTarget(given, ClassOf<TargetClass>(), owner) : Ref<Object>();
    }

    template <class Owner>
    Ref<Object> Get(const Owner& owner) const {
        return Target(owner, TargetInfo());
    }
    template <class Owner>
    void Put(IUnknown* given, Owner& owner) {
        const Ref<Object> target = Checked(given, owner);
        StoreAndTell(owner, LX_EV_DEFAULT, [&] { PointTo(target); });
    }
};

class LinkTargetBase : public ReferenceBase {
public:
    // Points the link at another target and tells the document's index of links. Raises no event. Throws std::bad_alloc
    // and has then done nothing.
    void Move(Object& link, const Ref<Object>& target);

protected:
    // Leaves error information (4009) where the old target is gone; the put goes on all the same.
    void TellOfLostTarget(const Object& link, const ClassInfo& targetClass) const;
};

// The target of a link item. An empty one answers the false status; a put needs a target.
template <class TargetClass>
class LinkTarget : public LinkTargetBase {
public:
    static const ClassInfo& TargetInfo() { return ClassOf<TargetClass>(); }

    static Ref<Object> Checked(IUnknown* given, const Object& owner) {
        return RequireTarget(given, ClassOf<TargetClass>(), owner);
    }

    template <class Owner>
    std::optional<Ref<Object>> Get(const Owner& owner) const {
        Ref<Object> target = Target(owner, TargetInfo());
        return target ? std::optional(std::move(target)) : std::nullopt;
    }
    template <class Owner>
    void Put(IUnknown* given, Owner& owner) {
        if (!given) throw Failure(E_POINTER);
        const Ref<Object> target = Checked(given, owner);
        TellOfLostTarget(owner, TargetInfo());
        StoreAndTell(owner, LX_EV_DEFAULT, [&] { Move(owner, target); });
    }
};

template <class Class, class Field>
constexpr bool IsLinkField(Field Class::*) {
    return std::is_base_of_v<LinkTargetBase, Field>;
}

}  // namespace lumvex::inside
