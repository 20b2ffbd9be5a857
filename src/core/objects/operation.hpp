// The unit in which the model changes: all of a published call, or nothing of it.
//
// Code that changes the tree records a step: how to take the change back. The guard opens an operation for every
// published call. When the call fails, its steps are taken back, last first, and the events that it raised are dropped.
// So no class takes back anything by itself.
//
// The rules for code that runs inside an operation:
// 1. Record the step before the change, or make room for it: taking back needs no memory and cannot fail.
// 2. Changes that cannot be taken back (removals, values) come last, when nothing is left that can fail.
// 3. In the middle of an operation handlers run only in DeliverNow(). What was done before is kept, as a handler may
// have
//    built on it.
#pragma once

#include "core/objects/thread_context.hpp"

namespace lumvex::inside {

class Operation {
public:
    explicit Operation(ThreadContext& thread) noexcept
        : thread_(thread), steps_(thread.stepsEver), events_(thread.eventsEver) {}
    Operation() : Operation(CurrentThread()) {}
    // Takes everything back, unless Keep() was called.
    ~Operation() {
        if (!kept_) TakeBack();
    }
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    // What this operation has done stays, even if the operation around it fails.
    void Keep() noexcept {
        if (thread_.stepsEver != steps_) KeepSteps();
        kept_ = true;
    }

private:
    bool HasSteps() const noexcept;
    void KeepSteps() noexcept;
    void TakeBack() noexcept;

    ThreadContext& thread_;
    std::size_t steps_, events_;  // how many the thread had recorded in all when the operation began
    bool kept_ = false;
};

// Records `back(object, detail)`, which takes back the change that the caller makes next. The object is kept alive
// until the operation ends. Outside of any call nothing is recorded. Throws std::bad_alloc, unless there is room.
void RecordStep(Object& object, void* detail, TakeStepBack back);
// The same with `back(entry)`. The entry is kept, its object is not, so that no atomic addition is needed: that would
// wait for all that the processor has to write.
void RecordStep(Entry& entry, TakeEntryBack back);
// Makes room, so that recording the next `count` steps cannot fail. Throws std::bad_alloc.
void MakeRoomForSteps(std::size_t count);

// What the call under way has done so far stays, even if the call fails later. For calls whose rules allow that they
// are done in part.
void KeepWhatIsDone() noexcept;

}  // namespace lumvex::inside
