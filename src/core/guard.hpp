// The boundary of the model: every published call runs under the module lock inside a Guarded block, which turns
// exceptions into status and error information and delivers the call's events on the way out. The only catch (...).
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

// Runs `work` as one published call and answers its status. `source` names the class that reports errors.
template <class Work>
HRESULT Guarded(std::u16string_view source, Work&& work) noexcept {
    try {
        const Call call;
        try {
            return work();
        } catch (...) {
            return TranslateException(source);
        }
    } catch (...) {
        return E_UNEXPECTED;  // the lock itself failed
    }
}

}  // namespace lumvex::inside
