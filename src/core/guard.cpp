#include "core/guard.hpp"

#include <algorithm>
#include <mutex>
#include <new>
#include <stdexcept>
#include <vector>

#include "core/document.hpp"
#include "core/events.hpp"

namespace lumvex::inside {

namespace {

std::recursive_mutex& ModuleLock() {
    static std::recursive_mutex lock;
    return lock;
}

// What each thread that enters the model has of its own. The queue needs a destructor and with it a check whenever it is
// reached, so every call looks at the rest only.
struct ThreadContext {
    unsigned depth = 0;
    bool hasQueued = false;
};

constinit thread_local ThreadContext context;
thread_local std::vector<PendingEvent> queued;

class KeptErrorInfo {
public:
    KeptErrorInfo() { GetErrorInfo(0, info_.Out()); }
    ~KeptErrorInfo() { SetErrorInfo(0, info_.get()); }
    KeptErrorInfo(const KeptErrorInfo&) = delete;
    KeptErrorInfo& operator=(const KeptErrorInfo&) = delete;

private:
    Ref<IErrorInfo> info_;
};

}  // namespace

Call::Call() {
    ModuleLock().lock();
    ++context.depth;
}

Call::~Call() {
    DeliverNow();
    --context.depth;
    ModuleLock().unlock();
}

unsigned CallDepth() noexcept { return context.depth; }

// All entries of a queue are flagged, and one thread at a time has a queue: the lock's holder.
void Raise(Document& document, EventKind kind, Object& object, LXEventType type) {
    Entry& entry = object.OwnEntry();
    if (context.depth != 0 && document.IsObserved() && !entry.eventWaits) {
        queued.push_back({Ref<Object>(&document.RootObject()), Ref<Object>(&object), kind, type});
        entry.eventWaits = context.hasQueued = true;
    }
    document.MarkModified();
}

void PrepareToRaise(std::size_t count) {
    if (queued.capacity() - queued.size() < count) queued.reserve(std::max(queued.size() + count, 2 * queued.capacity()));
}

// A handler may change the model: what it raises joins the queue behind what is already there. The error information of
// the call that is ending outlives what handlers leave.
void DeliverNow() noexcept {
    if (!context.hasQueued || context.depth >= 2) return;
    const KeptErrorInfo kept;
    for (std::size_t next = 0; next < queued.size(); ++next) {
        const PendingEvent event = queued[next];
        const Entry& entry = event.object->OwnEntry();
        if (entry.document) entry.document->Fire(event);
    }
    for (const PendingEvent& event : queued) event.object->OwnEntry().eventWaits = false;
    queued.clear();
    context.hasQueued = false;
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
