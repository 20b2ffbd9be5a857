#include "core/objects/events.hpp"

#include <cassert>
#include <utility>

#include "core/objects/document.hpp"
#include "core/objects/operation.hpp"
#include "generic/make_room.hpp"

namespace lumvex::inside {

namespace {

class KeptErrorInfo {
public:
    KeptErrorInfo() { GetErrorInfo(0, info_.Out()); }
    ~KeptErrorInfo() { SetErrorInfo(0, info_.get()); }
    KeptErrorInfo(const KeptErrorInfo&) = delete;
    KeptErrorInfo& operator=(const KeptErrorInfo&) = delete;

private:
    Ref<IErrorInfo> info_;
};

// A handler may change the model: the events that it raises are added at the end of the queue. Error information that
// handlers leave is dropped: the client is to see that of its own call.
void DeliverQueue(ThreadContext& thread) noexcept {
    const KeptErrorInfo kept;
    for (std::size_t next = 0; next < thread.queue.size(); ++next) {
        const PendingEvent event = thread.queue[next];
        const Entry& entry = event.object->OwnEntry();
        if (entry.document) entry.document->Fire(event);
        assert(thread.steps.empty() && "a handler's calls have ended, and nothing was open when they began");
    }
    for (const PendingEvent& event : thread.queue) event.object->OwnEntry().eventWaits = false;
    // The events may hold the last references to roots and objects. Destroying these may run code of clients that
    // raises further events, which form the next queue.
    std::vector<PendingEvent> told = std::exchange(thread.queue, {});
    told.clear();
    if (thread.queue.empty()) thread.queue.swap(told);  // its memory is used again
}

}  // namespace

// Only the thread that holds the module lock has a queue, so that a flag in the entry says whether an object is in it.
void Raise(Document& document, EventKind kind, Object& object, LXEventType type) {
    document.MarkModified();
    if (!document.IsObserved()) return;
    ThreadContext& thread = CurrentThread();
    Entry& entry = object.OwnEntry();
    if (thread.depth != 0 && !entry.eventWaits) {
        thread.queue.push_back({Ref<Object>(&document.RootObject()), Ref<Object>(&object), kind, type});
        ++thread.eventsEver;
        entry.eventWaits = true;
    }
}

void PrepareToRaise(std::size_t count) {
    MakeRoom(CurrentThread().queue, count);
    MakeRoomForSteps(1);  // the first event marks the document as modified
}

void DeliverEvents(ThreadContext& thread) noexcept {
    while (thread.depth < 2 && !thread.queue.empty()) DeliverQueue(thread);
}

void DeliverNow() noexcept {
    KeepWhatIsDone();
    DeliverEvents(CurrentThread());
}

}  // namespace lumvex::inside
