#include "core/objects/object.hpp"

#include "core/objects/document.hpp"
#include "core/objects/guard.hpp"

namespace lumvex::inside {

namespace {
std::atomic<std::uint32_t> waitingCaches{0};
}

void Check(HRESULT status) {
    if (FAILED(status)) throw PassedOn(status);
}

Object::Object() : madeInCall_(CallDepth() != 0) { madeInCall_ ? LockModuleInCall() : LockModule(); }

Object::~Object() { madeInCall_ ? UnlockModuleInCall() : UnlockModule(); }

ULONG Object::AddRef() noexcept { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }

void Object::CacheWaits(bool waits) noexcept {
    waits ? waitingCaches.fetch_add(1, std::memory_order_relaxed)
          : waitingCaches.fetch_sub(1, std::memory_order_relaxed);
}

// The last release touches directory entries, which the module lock guards. The lock is taken before the count goes to
// 0: a call on another thread that reaches the root from an object below takes a new reference under the lock, and must
// not find the count at 0. A count of 1 is that of the directory's own reference, where the object is in a directory.
ULONG Object::Release() noexcept {
    ULONG count = count_.load(std::memory_order_relaxed);
    while (count > 1) {
        if (count == 2 && waitingCaches.load(std::memory_order_relaxed) != 0) break;
        if (count_.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel)) return count - 1;
    }
    if (CallDepth() != 0) return ReleaseInCall();
    const Call call;
    return ReleaseInCall();
}

ULONG Object::ReleaseInCall() noexcept {
    // Nobody else can take a reference of an object that has one alone while the lock is held.
    const bool isLast = count_.load(std::memory_order_acquire) == 1;
    const ULONG left = isLast ? 0 : count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 1 && entry_ && entry_->document && entry_->object.get() == this) {
        const Ref<Entry> entry = entry_;  // LetGo may destroy this object
        entry->document->LetGo(*entry);
    }
    if (left == 0) delete this;
    return left;
}

void Object::ForEachChild(const ChildVisitor&) {}

void Object::ForEachReference(const ReferenceVisitor&) {}

void Object::ForEachLinkedReference(const LinkedReferenceVisitor&) const {}

IUnknown* Object::Facet(REFIID) noexcept { return nullptr; }

void Object::Materialise() {}
void Object::LeaveFile() { Materialise(); }

void Object::Arrived(Arrival) {}

// The bare name: with a path, what is built would depend on the folder that it is built in.
void Object::FailForWantOfAnEntry() { throw COstrelException(1, __FILE_NAME__, __LINE__); }

Document& Object::ResolveRoot() const {
    Document* document = OwnEntry().document;
    if (!document) throw Failure(Message::Orphaned);
    return *document;
}

Ref<Object> Object::ResolveParent() const {
    Document& document = ResolveRoot();
    const Ref<Entry> parent = document.OwnerOf(OwnEntry());
    if (!parent || parent->document != &document) throw Failure(Message::Orphaned);
    return document.Get(*parent);
}

std::u16string Object::Name() const { return std::u16string(std::u16string_view(OwnEntry().name)); }

std::u16string Object::ID() const { return ToText(OwnEntry().id); }

std::u16string Object::InterfaceID() const { return ToText(Class().interfaceId); }

Ref<Object> Object::RootBase() const { return Ref<Object>(&ResolveRoot().RootObject()); }

YesNo Object::IsSame(IUnknown* test) const {
    void* typed = nullptr;
    if (FAILED(test->QueryInterface(Class().interfaceId, &typed))) return YesNo::No;
    const auto other = Ref<IUnknown>::Attach(static_cast<IUnknown*>(typed));
    const Ref<Object> inside = InsideOf(other.get());
    return inside.get() == this ? YesNo::Yes : YesNo::No;
}

Ref<Object> InsideOf(IUnknown* unknown) {
    void* object = nullptr;
    if (!unknown || FAILED(unknown->QueryInterface(kInsideInterface, &object))) return nullptr;
    return Ref<Object>::Attach(static_cast<Object*>(object));
}

}  // namespace lumvex::inside
