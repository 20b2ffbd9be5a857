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
    GUID id;
};

// Marks the document modified and queues the event if anybody listens. A thread outside any call of the model queues
// nothing.
void Raise(Document& document, EventKind kind, Object& object, LXEventType type);

// Delivers the calling thread's events in raising order, the first of each object, unless a call further out will.
void DeliverNow() noexcept;

}  // namespace lumvex::inside
