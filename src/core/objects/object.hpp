// What every object of the model shares, root, collection or item: its reference count, its entry in the directory, and
// how it finds its parent and root, which it does not keep alive.
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "core/base/failure.hpp"
#include "core/base/module.hpp"
#include "core/objects/entry.hpp"
#include "generic/function_ref.hpp"
#include "lumvex/interfaces.hpp"

namespace lumvex::inside {

// How an owner holds a child collection: by the reference under which the document finds it. There is none until a
// client asks for the collection for the first time.
struct ChildSlot {
    std::optional<Reference> reference;
};

// The answer of a test: 1 and S_OK, or 0 and S_FALSE.
enum class YesNo : LONG { No = 0, Yes = 1 };

// Throws PassedOn for the failure status of another call, whose error information stays.
void Check(HRESULT status);

class CollectionBase;
class ItemBase;
class ReferenceBase;

class Object {
public:
    using ChildVisitor = FunctionRef<void(ChildSlot&, const ClassInfo&)>;

    static void* operator new(std::size_t size) { return TakeBlock(size); }
    // The compiler passes the size of the object's own class, since the destructor is virtual.
    static void operator delete(void* object, std::size_t size) { GiveBlock(object, size); }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    ULONG AddRef() noexcept;
    ULONG Release() noexcept;
    ULONG ReleaseInCall() noexcept;  // the same, for whoever holds the module lock
    // The same as AddRef(), for whoever holds the module lock: where the caller has the only reference no other thread
    // can take or give one, and an atomic addition, which waits for all that the processor has to write, is not needed.
    void AddRefInCall() noexcept {
        if (count_.load(std::memory_order_acquire) == 1)
            count_.store(2, std::memory_order_relaxed);
        else
            AddRef();
    }
    // Is the directory's own reference the only one?
    bool HeldByDirectoryOnly() const noexcept { return count_.load(std::memory_order_acquire) == 1; }

    // A load cache waits while it holds more objects than it should, because clients hold them. While any cache waits,
    // an object tells its document when the last reference from outside is released.
    static void CacheWaits(bool waits) noexcept;

    virtual IDispatch* Dispatch() noexcept = 0;  // the object's identity outside; no reference added
    virtual const ClassInfo& Class() const noexcept = 0;
    // The object as the item or the collection that it is; null where it is something else.
    virtual ItemBase* AsItem() noexcept { return nullptr; }
    virtual CollectionBase* AsCollection() noexcept { return nullptr; }
    const ItemBase* AsItem() const noexcept { return const_cast<Object*>(this)->AsItem(); }
    const CollectionBase* AsCollection() const noexcept { return const_cast<Object*>(this)->AsCollection(); }
    // The programmatic identifier under which the object reports errors; empty for all but roots.
    virtual std::u16string_view ErrorSource() const noexcept { return {}; }
    // Visits the slots of the object's own child collections in record order.
    virtual void ForEachChild(const ChildVisitor& visit);
    // Visits the object's references to other items of its document, each with the class that its target has to have.
    using ReferenceVisitor = FunctionRef<void(ReferenceBase&, const ClassInfo& targetClass)>;
    virtual void ForEachReference(const ReferenceVisitor& visit);
    // Visits the object's references into the document that its own is linked to: the target's ID as text, empty for
    // none, and class.
    using LinkedReferenceVisitor = FunctionRef<void(std::u16string_view id, const ClassInfo& targetClass)>;
    virtual void ForEachLinkedReference(const LinkedReferenceVisitor& visit) const;
    // A further interface that the object offers; no reference is added. Null for none.
    virtual IUnknown* Facet(REFIID iid) noexcept;
    // Reads what is still only in the object's stream, which is about to go away.
    virtual void Materialise();
    // The same where the object is not going to be changed at once: what is long may stay as it was in the stream.
    virtual void LeaveFile();
    // Called when the object has become part of its document: it was loaded or, a collection, made on first use.
    enum class Arrival { Loaded, Made };
    virtual void Arrived(Arrival how);

    // Throws COstrelException where the object has none, which is a fault of the program.
    Entry& OwnEntry() const {
        if (!entry_) FailForWantOfAnEntry();
        return *entry_;
    }
    void Bind(Entry& entry) noexcept { entry_ = Ref<Entry>(&entry); }
    void SwapEntry(Object& other) noexcept { std::swap(entry_, other.entry_); }

    Document& ResolveRoot() const;      // throws 4009 when the object is orphaned
    Ref<Object> ResolveParent() const;  // the same; loads the parent when it is not in memory

    // The shared members of the published interfaces.
    virtual std::u16string Name() const;
    virtual std::u16string DisplayName() { return Name(); }
    std::u16string ID() const;
    std::u16string InterfaceID() const;
    Ref<Object> RootBase() const;
    YesNo IsSame(IUnknown* test) const;

protected:
    Object();
    virtual ~Object();

    // Two objects of one class with one ID are the same to this test. The other one, which may be a proxy, says itself
    // what its ID is: its own interface begins with Base, which has get_ID.
    template <class Base>
    YesNo HasSameID(IUnknown* test) const {
        Ref<Base> other;
        if (!test || FAILED(test->QueryInterface(Class().interfaceId, reinterpret_cast<void**>(other.Out()))))
            return YesNo::No;
        Bstr id;
        Check(other->get_ID(id.Out()));
        return id.view() == ID() ? YesNo::Yes : YesNo::No;
    }

private:
    [[noreturn]] static void FailForWantOfAnEntry();

    // Is it counted among the objects that calls have made? They all go under the lock.
    bool madeInCall_;
    std::atomic<ULONG> count_{1};  // the first one is its maker's; Release() counts in a way of its own
    Ref<Entry> entry_;
};

// The object of the model behind an interface pointer; null for objects of other programs.
Ref<Object> InsideOf(IUnknown* unknown);

// The interface that InsideOf asks for. Every object of the model answers it with a pointer to its Object.
inline constexpr GUID kInsideInterface = {0x71AC4668, 0x34BC, 0x43CB, {0x8B, 0xE6, 0xE2, 0x1D, 0x08, 0x60, 0x81, 0xD0}};

}  // namespace lumvex::inside
