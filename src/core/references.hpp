// References from one item to another item of the same document: kept by ID, found when they are used, empty when what
// they point at is gone. A link's target is one that the document also indexes, so that the target knows its links.
#pragma once

#include "core/document.hpp"
#include "core/record_of.hpp"

namespace lumvex::inside {

// What both kinds share. Once found, the target is kept in memory as long as the reference.
class ReferenceBase {
public:
    // The target, loaded when it has to be; null when there is none, or none any more.
    Ref<Object> Target(const Object& owner) const;
    // The ID as the record has it: none when the reference is empty or its target is known to be gone.
    std::optional<GUID> TargetId() const;

    void Point(const Ref<Object>& target);          // null empties it
    void Point(const std::optional<GUID>& target);  // found on first use
    void CopyFrom(const ReferenceBase& other) { Point(other.TargetId()); }

protected:
    // The object behind a client's pointer, which has to be of the class and in the owner's document: E_INVALIDARG,
    // 4009 and 4015 otherwise.
    static Ref<Object> Accepted(IUnknown* given, const ClassInfo& targetClass, const Object& owner);

private:
    std::optional<GUID> id_;
    mutable Ref<Object> target_;
};

// May be empty; a put of nothing empties it. A file may give an ID to an object of any class: one that is not of the
// target's is no target.
template <class TargetClass>
class ItemReference : public ReferenceBase {
public:
    // What a client gives for it: null for nothing.
    static Ref<Object> Checked(IUnknown* given, const Object& owner) {
        return given ? Accepted(given, ClassOf<TargetClass>(), owner) : Ref<Object>();
    }

    template <class Owner>
    Ref<Object> Get(const Owner& owner) const {
        Ref<Object> target = Target(owner);
        return target && &target->Class() == &ClassOf<TargetClass>() ? target : nullptr;
    }
    template <class Owner>
    void Put(IUnknown* given, Owner& owner) {
        Point(Checked(given, owner));
        owner.Commit(LX_EV_DEFAULT);
    }
};

class LinkTargetBase : public ReferenceBase {
public:
    // Without an event: for a link that is being made.
    void Start(Object& link, const Ref<Object>& target);

protected:
    void Repoint(Object& link, const Ref<Object>& target);
};

// The target of a link item. An empty one answers the false status; a put needs a target.
template <class TargetClass>
class LinkTarget : public LinkTargetBase {
public:
    static Ref<Object> Checked(IUnknown* given, const Object& owner) {
        return Accepted(given, ClassOf<TargetClass>(), owner);
    }

    template <class Owner>
    std::optional<Ref<Object>> Get(const Owner& owner) const {
        Ref<Object> target = Target(owner);
        return target && &target->Class() == &ClassOf<TargetClass>() ? std::optional(std::move(target)) : std::nullopt;
    }
    template <class Owner>
    void Put(IUnknown* given, Owner& owner) {
        if (!given) throw Failure(E_POINTER);
        Repoint(owner, Checked(given, owner));
        owner.Commit(LX_EV_DEFAULT);
    }
};

template <class Class, class Field>
constexpr bool IsLinkField(Field Class::*) {
    return std::is_base_of_v<LinkTargetBase, Field>;
}

}  // namespace lumvex::inside
