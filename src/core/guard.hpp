// The boundary of the model: every published call that reaches an object of it runs under the module lock inside a Guarded
// block, which turns exceptions into status and error information and delivers the call's events on the way out. Calls that
// only find out what to call (late binding, class objects, class information) are Translated: no exception leaves them
// either.
#pragma once

#include "core/failure.hpp"

namespace lumvex::inside {

struct ThreadContext;

// Takes the module-wide lock and counts the thread's nesting; leaving, the outermost call delivers.
ThreadContext& Enter();
void Leave(ThreadContext& thread) noexcept;

// Inside the model for the life of the object.
class Call {
public:
    Call() : thread_(Enter()) {}
    ~Call() { Leave(thread_); }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

private:
    ThreadContext& thread_;
};

// How deep the calling thread is inside the model; 0 outside.
unsigned CallDepth() noexcept;

// The status of the exception being handled; installs its text, or clears the error information when it has none.
HRESULT TranslateException(std::u16string_view source) noexcept;

// Answers the status of `work`, or of the exception that leaves it.
template <class Work>
HRESULT Translated(std::u16string_view source, Work&& work) noexcept {
    try {
        return work();
    } catch (...) {
        return TranslateException(source);
    }
}

// Runs `work` as one published call and answers its status. `source` names the class that reports errors.
template <class Work>
HRESULT Guarded(std::u16string_view source, Work&& work) noexcept {
    return Translated(source, [&] {  // entering may fail too
        const Call call;
        return Translated(source, work);
    });
}

}  // namespace lumvex::inside
