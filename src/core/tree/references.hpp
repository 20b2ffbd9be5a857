// References from one item to another item of the same document: kept by ID, found when they are used, empty when what
// they point at is gone. A link's target is one that the document also indexes, so that the target knows its links.
#pragma once

#include "core/objects/document.hpp"
#include "core/tree/record_of.hpp"

namespace lumvex::inside {

// What both kinds share. The class of the target is asked for wherever it matters: a file may give an ID to an object of
// any class, and an object of another class is no target.
class ReferenceBase {
public:
    // The target, loaded when it has to be; null when there is none. Once found it is kept in memory as long as the
    // reference, so that it goes on being answered after it was removed from the document.
    Ref<Object> Target(const Object& owner, const ClassInfo& targetClass) const;
    // The ID under which the document has the target, as records and indexes know it; none when the reference is empty,
    // or when the document does not have the target, or not any more.
    std::optional<GUID> IdIn(Document& document, const ClassInfo& targetClass) const;
    // Forgets the ID of a target that the document does not have any more, so that it is not saved.
    void ForgetLostTarget(Document& document, const ClassInfo& targetClass);
    // The ID that was read or given, whatever it leads to.
    const std::optional<GUID>& Id() const { return id_; }

    void Point(const Ref<Object>& target) noexcept;          // null empties it
    void Point(const std::optional<GUID>& target) noexcept;  // found on first use
    void CopyFrom(const ReferenceBase& other) { Point(other.id_); }

protected:
    // The object behind a client's pointer, which has to be of the class and in the owner's document: E_INVALIDARG,
    // 4009 and 4015 otherwise.
    static Ref<Object> Accepted(IUnknown* given, const ClassInfo& targetClass, const Object& owner);

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
        return given ? Accepted(given, ClassOf<TargetClass>(), owner) : Ref<Object>();
    }

    template <class Owner>
    Ref<Object> Get(const Owner& owner) const {
        return Target(owner, TargetInfo());
    }
    template <class Owner>
    void Put(IUnknown* given, Owner& owner) {
        const Ref<Object> target = Checked(given, owner);
        StoreAndTell(owner, LX_EV_DEFAULT, [&] { Point(target); });
    }
};

class LinkTargetBase : public ReferenceBase {
public:
    // Points the link elsewhere and lets the document know; throws std::bad_alloc and has then done nothing. Without an
    // event.
    void Move(Object& link, const Ref<Object>& target);

protected:
    // An old target that is gone is told of, but does not keep the link from moving on.
    void TellOfLostTarget(const Object& link, const ClassInfo& targetClass) const;
};

// The target of a link item. An empty one answers the false status; a put needs a target.
template <class TargetClass>
class LinkTarget : public LinkTargetBase {
public:
    static const ClassInfo& TargetInfo() { return ClassOf<TargetClass>(); }

    static Ref<Object> Checked(IUnknown* given, const Object& owner) {
        return Accepted(given, ClassOf<TargetClass>(), owner);
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
