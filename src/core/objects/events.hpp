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

// Marks the document as modified and, if any client listens, queues the event. When the operation under way fails, both
// are taken back. Only the first event of an object in a call is queued. A thread outside any call of the model queues
// nothing. Throws std::bad_alloc, unless PrepareToRaise() was called before.
void Raise(Document& document, EventKind kind, Object& object, LXEventType type);

// Makes room, so that raising the next `count` events cannot fail. Throws std::bad_alloc.
void PrepareToRaise(std::size_t count);

// What every put does. `store` stores the new value, or throws and has changed nothing. Then the owner commits: it
// finds its root (4009 when there is none: the new value stays), raises the event, and marks the document and itself as
// changed.
template <class Owner, class Store>
void StoreAndTell(Owner& owner, LXEventType type, Store&& store) {
    PrepareToRaise(1);
    store();
    owner.Commit(type);
}

// Delivers a thread's events in the order in which they were raised, unless a call further out will.
struct ThreadContext;
void DeliverEvents(ThreadContext& thread) noexcept;

// The same for the calling thread, in the middle of an operation. What the operation has done so far is kept. Handlers
// may do anything, release the root included: the caller has to hold what it needs by counted references, and look
// everything else up again.
void DeliverNow() noexcept;

}  // namespace lumvex::inside
