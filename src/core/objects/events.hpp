// Change events: queued on the thread that makes the change, delivered when its outermost call ends.
#pragma once

#include "core/objects/object.hpp"

namespace lumvex::inside {

enum class EventKind { Collection = 1, Item = 2, Root = 3 };

struct PendingEvent {
    Ref<Object> root;
    Ref<Object> object;
    EventKind kind;
    LXEventType type;
};

// Marks the document modified and queues the event if anybody listens; where the operation under way fails, both are
// taken back. Of each object the first event of a call is queued, later ones are not. A thread outside any call of the
// model queues nothing. Throws std::bad_alloc, unless PrepareToRaise() was called.
void Raise(Document& document, EventKind kind, Object& object, LXEventType type);

// The next `count` events cannot fail.
void PrepareToRaise(std::size_t count);

// What every put does. `store` brings the new value, or throws and has done nothing; then the owner's root is found (4009
// when there is none: the value stays), the event is raised, and document and owner are marked as changed.
template <class Owner, class Store>
void StoreAndTell(Owner& owner, LXEventType type, Store&& store) {
    PrepareToRaise(1);
    store();
    owner.Commit(type);
}

// Delivers the calling thread's events in raising order, unless a call further out will. Everything that was done so far
// is kept. Handlers may do anything, release the root included: after this the caller holds what it needs by counted
// references and finds everything else anew.
void DeliverNow() noexcept;

}  // namespace lumvex::inside
