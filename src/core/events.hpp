// Change events: queued on the thread that makes the change, delivered when its outermost call ends.
#pragma once

#include "core/object.hpp"

namespace lumvex::inside {

enum class EventKind { Collection = 1, Item = 2, Root = 3 };

struct PendingEvent {
    Ref<Object> root;
    Ref<Object> object;
    EventKind kind;
    LXEventType type;
};

// Queues the event if anybody listens, and marks the document modified; a failure (no memory) does neither. Of each
// object the first event of a call is queued, later ones are not. A thread outside any call of the model queues nothing.
void Raise(Document& document, EventKind kind, Object& object, LXEventType type);

// The next `count` events cannot fail.
void PrepareToRaise(std::size_t count);

// How a put of a field ends: `store` gives it its value, and nothing can fail behind that but for want of owners, with
// which the value stays.
template <class Owner, class Store>
void StoreAndCommit(Owner& owner, LXEventType type, Store&& store) {
    PrepareToRaise(1);
    store();
    owner.Commit(type);
}

// Delivers the calling thread's events in raising order, unless a call further out will.
void DeliverNow() noexcept;

}  // namespace lumvex::inside
