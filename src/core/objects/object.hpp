// What every object of the model shares, be it root, collection or item: its reference count, its directory entry and
// the way up to parent and root, which it does not keep alive.
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "core/objects/entry.hpp"
#include "core/base/failure.hpp"
#include "core/base/function_ref.hpp"
#include "lumvex/interfaces.hpp"

namespace lumvex::inside {

// A child collection as its owner holds it: nothing, or the reference under which the document finds it. It exists from
// the first time that somebody asks for it.
struct ChildSlot {
    std::optional<Reference> reference;
};

// The answer of a test: 1 and S_OK, or 0 and S_FALSE.
enum class YesNo : LONG { No = 0, Yes = 1 };

// Objects alive in the module, and what else keeps it from being unloaded.
std::size_t LiveObjects() noexcept;
void LockModule() noexcept;
void UnlockModule() noexcept;

// Part of every object that a client can hold: counts it among those alive.
class LiveObject {
public:
    LiveObject() noexcept;
    ~LiveObject();
    LiveObject(const LiveObject&) = delete;
    LiveObject& operator=(const LiveObject&) = delete;
};

// Passes on the failure of an inner call, its error information kept.
void Check(HRESULT status);

class ReferenceBase;
struct Descendant;

class Object {
public:
    using ChildVisitor = FunctionRef<void(ChildSlot&, const ClassInfo&)>;

    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    ULONG AddRef() noexcept;
    ULONG Release() noexcept;
    // One reference is left: the directory's own.
    bool HeldByDirectoryOnly() const noexcept { return count_.load(std::memory_order_acquire) == 1; }

    // Load caches that hold more than they should, as clients hold what they would release. While there are any, an
    // object whose last outside reference goes tells its document.
    static void CacheWaits(bool waits) noexcept;

    virtual IDispatch* Dispatch() noexcept = 0;          // the object's identity outside; no reference added
    virtual const ClassInfo& Class() const noexcept = 0;
    // The programmatic identifier under which the object reports errors; empty for all but roots.
    virtual std::u16string_view ErrorSource() const noexcept { return {}; }
    // Visits the slots of the object's own child collections in record order.
    virtual void ForEachChild(const ChildVisitor& visit);
    // Visits what the object refers to elsewhere in its document, each with the class that its target has to be of.
    using ReferenceVisitor = FunctionRef<void(ReferenceBase&, const ClassInfo& targetClass)>;
    virtual void ForEachReference(const ReferenceVisitor& visit);
    // Another interface that the object offers beside its own; no reference added, null for none.
    virtual IUnknown* Facet(REFIID iid) noexcept;
    // The object's stream is about to go away: what is still to be read from it is read now.
    virtual void Materialise();
    // The object has just taken its place in its document: loaded, or (a collection) made on first use.
    enum class Arrival { Loaded, Made };
    virtual void Arrived(Arrival how);

    // A missing entry is a broken invariant.
    Entry& OwnEntry() const;
    void Bind(Entry& entry) noexcept { entry_ = Ref<Entry>(&entry); }
    void SwapEntry(Object& other) noexcept { std::swap(entry_, other.entry_); }

    Document& ResolveRoot() const;        // 4009 when the object is orphaned
    Ref<Object> ResolveParent() const;    // 4009 likewise; loads the parent when it is not in memory
    bool IsModified() const { return modified_; }
    void SetModified(bool modified) noexcept { modified_ = modified; }

    // The shared members of the published interfaces.
    virtual std::u16string Name() const;
    virtual std::u16string DisplayName() { return Name(); }
    std::u16string ID() const;
    std::u16string InterfaceID() const;
    Ref<Object> RootBase() const;
    YesNo IsSame(IUnknown* test) const;
    Ref<IUnknown> NewDescendantsEnum();
    Ref<IUnknown> NewDependentLinksEnum();

    std::vector<Descendant> Descendants();  // the items below, depth first; each once

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
    LiveObject alive_;
    std::atomic<ULONG> count_{0};
    bool modified_ = false;
    Ref<Entry> entry_;
};

// The object behind one of our own interface pointers, or null for anybody else's.
Ref<Object> InsideOf(IUnknown* unknown);

// The interface under which InsideOf asks; answered by every object of the model and by nothing else.
inline constexpr GUID kInsideInterface = {
    0x71AC4668, 0x34BC, 0x43CB, {0x8B, 0xE6, 0xE2, 0x1D, 0x08, 0x60, 0x81, 0xD0}};

}  // namespace lumvex::inside
