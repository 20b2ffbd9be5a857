// The collection base: an ordered list of items of one class, owned by one item or root. Members are held by reference
// and loaded when they are reached; positions count from 1. A class derives from Collection<its own name, its
// interface> and adds its Add.
#pragma once

#include "core/objects/object.hpp"
#include "core/tree/members.hpp"
#include "core/tree/tree_object.hpp"

namespace lumvex::inside {

class ItemBase;

class CollectionBase : public TreeObject {
public:
    CollectionBase* AsCollection() noexcept override { return this; }
    using Object::AsCollection;

    Members members;

    // The plain members behind _Collection.
    std::u16string Name() const override;  // fixed by the class
    YesNo IsSameID(IUnknown* test) const { return HasSameID<_Collection>(test); }
    Ref<IUnknown> _NewEnum();  // over a snapshot of the list
    LONG Count() const { return static_cast<LONG>(members.Count()); }
    void Remove(LONG position);
    Ref<Object> FindName(std::u16string_view name);
    Ref<Object> FindNameExact(std::u16string_view name);
    LONG NameExists(std::u16string_view name);
    Ref<Object> FindID(std::u16string_view id, LONG searchDescendants);
    void RemoveAll();

    // What every typed collection adds.
    Ref<Object> Item(LONG position);
    Ref<Object> Parent() const { return ResolveParent(); }
    Ref<Object> Root() const { return RootBase(); }

    // The shared steps of every Add: a new member under a new ID at the end of the list, dated now.
    Ref<Object> AddNamed(std::u16string_view name);
    // The same for a link, which gets its target's name.
    Ref<Object> AddLink(const Ref<Object>& target);
    // Two classes refuse a name that a member has already (4000).
    virtual bool RefusesDuplicateNames() const { return false; }
    void RefuseDuplicate(std::u16string_view name);
    // In a copy with parents: the member that takes the place of `other`, of the other document; the first of its name,
    // unless a class says otherwise.
    virtual Ref<Object> FindCounterpart(ItemBase& other);
    // The first member for which the test is true, or null.
    template <class Test>
    Ref<Object> FindFirst(Test&& test) {
        for (std::size_t index = 0; index < members.Count(); ++index)
            if (Ref<Object> member = Member(index); test(*member)) return member;
        return nullptr;
    }
    // Makes an object that the document has entered the last member and raises the events; a step of the operation
    // under way.
    void AppendMember(Object& member);

    // Has the list marks of names, in memory or in the file? Where that cannot be read, no marks of the document count
    // from now on.
    bool HasMarks() const;
    // To be called when a member has been given another name, if the list has marks.
    void MemberRenamed(Entry& member) noexcept;
    // Marks that are not known, of members that are in memory. The list is in memory.
    void FillMarks();

    void Materialise() override { members.Materialise(); }
    void LeaveFile() override;

    static constexpr std::u16string_view kErrorSource{};

private:
    Ref<Object> AddMember(std::u16string_view name, const Ref<Object>& linkTarget);
    Ref<Object> Member(std::size_t index);
    Ref<Object> FindAmongLoaded(std::u16string_view name);
    using BearsName = FunctionRef<bool(const Reference& member, std::u16string_view its)>;
    void FindByMarks(NameMark mark, BearsName bearsName);
    void ForgetMarksOfRenamed();
    // `likely` is where the member was last seen in the list.
    void RemoveMember(ItemBase& member, std::size_t likely);
    void Detach(ItemBase& member, std::size_t likely);
};

template <class Derived, class Interface>
class Collection : public CollectionBase {
public:
    const ClassInfo& Class() const noexcept override { return ClassOf<Derived>(); }
};

// A collection to which members are added by name, and nothing else.
template <class Derived, class Interface>
class NamedCollection : public Collection<Derived, Interface> {
public:
    Ref<Object> Add(std::u16string_view name) { return this->AddNamed(name); }
};

// The object of an ID if it is below `top` in the tree, else null.
Ref<Object> FindBelow(Object& top, const GUID& id);

}  // namespace lumvex::inside
