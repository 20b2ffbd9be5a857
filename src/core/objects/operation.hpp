// The unit in which the model changes: all of a published call, or nothing of it.
//
// Whoever changes the tree in a way that a later failure would have to undo records a step: how to take the change back.
// The guard opens an operation for every published call; when the call fails, its steps are taken back, last first, and
// the events that it raised are not told. So no class takes back anything by itself.
//
// The rules for code that runs inside an operation:
// 1. Record the step before the change, or make room for it: taking back needs no memory and cannot fail.
// 2. Changes that cannot be taken back (removals, values) come last, when nothing is left that can fail.
// 3. Handlers run only where DeliverNow() says so. What was done before is kept then: a handler may have built on it.
#pragma once

#include "core/objects/thread_context.hpp"

namespace lumvex::inside {

class Operation {
public:
    explicit Operation(ThreadContext& thread) noexcept
        : thread_(thread), steps_(thread.StepsEver()), events_(thread.EventsEver()) {}
    Operation() : Operation(CurrentThread()) {}
    // Takes back what was not kept.
    ~Operation() {
        if (!kept_) TakeBack();
    }
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    // What was done since the operation began stays, whatever becomes of the one around it.
    void Keep() noexcept {
        if (thread_.StepsEver() != steps_) KeepSteps();
        kept_ = true;
    }

private:
    bool HasSteps() const noexcept;
    void KeepSteps() noexcept;
    void TakeBack() noexcept;

    ThreadContext& thread_;
    std::size_t steps_, events_;  // how many there had ever been when the operation began
    bool kept_ = false;
};

// `back(object, detail)` takes back the step that follows. The object is kept alive until then. Outside of every call
// nothing is recorded. Throws std::bad_alloc, unless there is room.
void RecordStep(Object& object, void* detail, TakeStepBack back);
// The next `count` steps can be recorded without memory.
void MakeRoomForSteps(std::size_t count);

// What the call under way has done so far stays, even if the call fails: an operation whose rules say that it may be
// done in part calls this after each part.
void KeepWhatIsDone() noexcept;

}  // namespace lumvex::inside
