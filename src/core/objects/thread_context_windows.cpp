// The contexts are in one slot of the process, in which every thread has its own value. The module may be unloaded
// while the process goes on, and has to free the contexts of all threads then. Of the system's two kinds of slots the
// one for fibers does that; it also frees a thread's context at its end in programs that have no module entry point.
#include "core/objects/thread_context_windows.hpp"

#include <new>

namespace lumvex::inside {

namespace {

void WINAPI Destroy(void* context) { delete static_cast<ThreadContext*>(context); }

DWORD Slot() {
    static const DWORD slot = ::FlsAlloc(Destroy);
    return slot;
}

}  // namespace

ThreadContext& CurrentThread() {
    if (void* context = ::FlsGetValue(Slot())) return *static_cast<ThreadContext*>(context);
    auto context = std::make_unique<ThreadContext>();
    if (!::FlsSetValue(Slot(), context.get())) throw std::bad_alloc();
    return *context.release();
}

unsigned CallDepth() noexcept {
    const void* context = ::FlsGetValue(Slot());
    return context ? static_cast<const ThreadContext*>(context)->depth : 0;
}

ThreadContext& Enter() { return EnteredBy(CurrentThread()); }

void DetachThread() noexcept {
    void* context = ::FlsGetValue(Slot());
    ::FlsSetValue(Slot(), nullptr);
    Destroy(context);
}

void DetachProcess() noexcept { ::FlsFree(Slot()); }

}  // namespace lumvex::inside
