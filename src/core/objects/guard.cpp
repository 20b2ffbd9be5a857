#include "core/objects/guard.hpp"

#include <cassert>
#include <new>
#include <stdexcept>
#include <utility>

#include "core/objects/document.hpp"
#include "core/objects/events.hpp"
#include "core/base/make_room.hpp"

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

// A handler may change the model: what it raises joins the queue behind what is already there. The error information of
// the call that is ending outlives what handlers leave.
void DeliverQueue(ThreadContext& thread) noexcept {
    const KeptErrorInfo kept;
    for (std::size_t next = 0; next < thread.queue.size(); ++next) {
        const PendingEvent event = thread.queue[next];
        const Entry& entry = event.object->OwnEntry();
        if (entry.document) entry.document->Fire(event);
        assert(thread.steps.empty() && "a handler's calls have ended, and nothing was open when they began");
    }
    for (const PendingEvent& event : thread.queue) event.object->OwnEntry().eventWaits = false;
    // The events may hold the last references to their roots and objects, whose going may run clients' code that raises
    // events in its turn: these form the next queue.
    std::vector<PendingEvent> told = std::exchange(thread.queue, {});
    thread.eventsGone += told.size();
    told.clear();
    if (thread.queue.empty()) thread.queue.swap(told);  // for its room
}

void Deliver(ThreadContext& thread) noexcept {
    while (thread.depth < 2 && !thread.queue.empty()) DeliverQueue(thread);
}

}  // namespace

void Leave(ThreadContext& thread) noexcept {
    Deliver(thread);
    --thread.depth;
    ModuleLock().unlock();
}

unsigned CallDepth() noexcept { return CurrentThread().depth; }

// All entries of a queue are flagged, and one thread at a time has a queue: the lock's holder.
void Raise(Document& document, EventKind kind, Object& object, LXEventType type) {
    ThreadContext& thread = CurrentThread();
    Entry& entry = object.OwnEntry();
    document.MarkModified();
    if (thread.depth != 0 && document.IsObserved() && !entry.eventWaits) {
        thread.queue.push_back({Ref<Object>(&document.RootObject()), Ref<Object>(&object), kind, type});
        entry.eventWaits = true;
    }
}

void PrepareToRaise(std::size_t count) {
    MakeRoom(CurrentThread().queue, count);
    MakeRoomForSteps(1);  // the first event marks the document as modified
}

void DeliverNow() noexcept {
    KeepWhatIsDone();
    Deliver(CurrentThread());
}

HRESULT TranslateException(std::u16string_view source) noexcept {
    HRESULT status = E_UNEXPECTED;
    try {
        throw;
    } catch (const PassedOn& inner) {
        return inner.Status();
    } catch (const Failure& failure) {
        if (failure.MessageNumber() != 0) return Report(failure.MessageNumber(), source);
        status = failure.Status();
    } catch (const COstrelException& fault) {
        try {
            return Report(InternalErrorText(fault.File(), fault.Line()),
                          static_cast<HRESULT>(0x80040FB1u), source);
        } catch (const std::bad_alloc&) {
            status = static_cast<HRESULT>(0x80040FB1u);
        }
    } catch (const std::bad_alloc&) {
        status = E_OUTOFMEMORY;
    } catch (const std::length_error&) {
        status = E_OUTOFMEMORY;
    } catch (...) {
        status = E_UNEXPECTED;
    }
    SetErrorInfo(0, nullptr);
    return status;
}

}  // namespace lumvex::inside
