// The guard around every published call. A call that reaches an object of the model is Guarded: it runs under the
// module lock and as one operation, an exception becomes its status and error information, and its events are delivered
// before it returns. Calls that only find out what to call (late binding, class objects, class information) are
// Translated: they take no lock, but no exception leaves them either.
#pragma once

#include "core/base/failure.hpp"
#include "core/objects/operation.hpp"

namespace lumvex::inside {

// Ends what Enter() began. The outermost call delivers the thread's events before.
inline void Leave(ThreadContext& thread) noexcept {
    if (!thread.queue.empty()) DeliverEvents(thread);
    --thread.depth;
    if (!thread.HoldsModuleLock()) ModuleLock().unlock();
}

// Inside the model for the life of the object.
class Call {
public:
    Call() : thread_(Enter()) {}
    ~Call() { Leave(thread_); }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    ThreadContext& Thread() const noexcept { return thread_; }

private:
    ThreadContext& thread_;
};

// The status of the exception being handled; installs its text, or clears the error information when it has none.
HRESULT TranslateException(std::u16string_view source) noexcept;

// Answers the status of `work`, or of the exception that leaves it. Inline, as Guarded() is: each is called from one
// place for each `work`, and a call of its own would read what `work` needs through pointers, under the lock.
template <class Work>
[[gnu::always_inline]] inline HRESULT Translated(std::u16string_view source, Work&& work) noexcept {
    try {
        return work();
    } catch (...) {
        return TranslateException(source);
    }
}

// Runs `work` as one published call and answers its status. A call that throws or answers a failure has changed nothing
// except what its operation has kept. `source` names the class that reports errors. Written without Translated(): what
// that is given would be functions, which compilers do not always make a part of this one.
template <class Work>
[[gnu::always_inline]] inline HRESULT Guarded(std::u16string_view source, Work&& work) noexcept {
    try {
        const Call call;
        try {
            Operation operation(call.Thread());
            const HRESULT status = work();
            if (SUCCEEDED(status)) operation.Keep();
            return status;
        } catch (...) {
            return TranslateException(source);
        }
    } catch (...) {  // entering may fail too
        return TranslateException(source);
    }
}

}  // namespace lumvex::inside
