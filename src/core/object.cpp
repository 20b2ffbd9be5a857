#include "core/object.hpp"

#include "core/collection.hpp"
#include "core/document.hpp"
#include "core/enumerator.hpp"
#include "core/guard.hpp"

namespace lumvex::inside {

namespace {
std::atomic<std::uint32_t> liveObjects{0};
}

std::size_t LiveObjects() noexcept { return liveObjects.load(std::memory_order_relaxed); }

void LockModule() noexcept { liveObjects.fetch_add(1, std::memory_order_relaxed); }

void UnlockModule() noexcept { liveObjects.fetch_sub(1, std::memory_order_relaxed); }

void Check(HRESULT status) {
    if (FAILED(status)) throw PassedOn(status);
}

Entry::Entry(const GUID& objectId, const ClassInfo* objectClass) : id(objectId), classInfo(objectClass) {
    if (objectClass) classId = objectClass->classId;
}

Entry::~Entry() = default;

void Entry::Release() noexcept {
    if (--count_ == 0) delete this;
}

LiveObject::LiveObject() noexcept { LockModule(); }

LiveObject::~LiveObject() { UnlockModule(); }

Object::Object() = default;

Object::~Object() = default;

ULONG Object::AddRef() noexcept { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }

// The last release touches directory entries, which the module lock guards. The lock comes before the count: a call on
// another thread that reaches the root from below takes a new reference under the lock, and must not find it at 0.
ULONG Object::Release() noexcept {
    ULONG count = count_.load(std::memory_order_relaxed);
    while (count > 1)
        if (count_.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel)) return count - 1;
    const Call call;
    const ULONG left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
}

void Object::ForEachChild(const ChildVisitor&) {}

void Object::ForEachReference(const ReferenceVisitor&) {}

IUnknown* Object::Facet(REFIID) noexcept { return nullptr; }

void Object::Materialise() {}

void Object::Arrived(Arrival) {}

Entry& Object::OwnEntry() const {
    if (!entry_) throw COstrelException(1);
    return *entry_;
}

Document& Object::ResolveRoot() const {
    Document* document = OwnEntry().document;
    if (!document) throw Failure(Message::Orphaned);
    return *document;
}

Ref<Object> Object::ResolveParent() const {
    Entry& entry = OwnEntry();
    Document& document = ResolveRoot();
    if (!entry.parent) entry.parent = Ref<Entry>(&document.OwnerOf(entry));
    if (entry.parent->document != &document) throw Failure(Message::Orphaned);
    return document.Get(*entry.parent);
}

std::u16string Object::Name() const { return OwnEntry().name; }

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

Ref<IUnknown> Object::NewDescendantsEnum() {
    return MakeEnumerator(*this, Descendants());
}

Ref<IUnknown> Object::NewDependentLinksEnum() {
    std::vector<Descendant> links;
    for (const GUID& id : ResolveRoot().DependentLinks(OwnEntry().id)) links.push_back({id, GUID_NULL});
    return MakeEnumerator(*this, std::move(links));
}

// Items are loaded only where they own collections of their own. The walk keeps its own stack: a document may be deep.
std::vector<Descendant> Object::Descendants() {
    std::vector<Descendant> found;
    Document& document = ResolveRoot();
    const auto addMembers = [&](CollectionBase& collection, std::vector<Ref<Object>>& below) {
        for (std::size_t index = 0; index < collection.members.Count(); ++index) {
            const Reference reference = collection.members.At(index);
            found.push_back({reference.id, collection.OwnEntry().id});
            const ClassInfo& memberClass = *collection.Class().member();
            if (memberClass.hasChildren)
                below.push_back(document.Get(reference, memberClass, collection.OwnEntry()));
        }
    };
    std::vector<Ref<Object>> waiting{Ref<Object>(this)};
    while (!waiting.empty()) {
        const Ref<Object> next = waiting.back();
        waiting.pop_back();
        std::vector<Ref<Object>> below;
        if (next->Class().kind == ClassKind::Collection) {
            addMembers(static_cast<CollectionBase&>(*next), below);
        } else {
            next->ForEachChild([&](ChildSlot& slot, const ClassInfo& classInfo) {
                if (slot.reference) below.push_back(document.GetChild(slot, classInfo, *next));
            });
        }
        waiting.insert(waiting.end(), below.rbegin(), below.rend());
    }
    return found;
}

Ref<Object> InsideOf(IUnknown* unknown) {
    void* object = nullptr;
    if (!unknown || FAILED(unknown->QueryInterface(kInsideInterface, &object))) return nullptr;
    return Ref<Object>::Attach(static_cast<Object*>(object));
}

}  // namespace lumvex::inside
