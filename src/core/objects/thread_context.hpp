// What each thread that calls the model has of its own.
#pragma once

#include <vector>

#include "core/base/module.hpp"
#include "core/objects/events.hpp"

namespace lumvex::inside {

// Takes a step of an operation back; see operation.hpp.
using TakeStepBack = void (*)(Object& object, void* detail) noexcept;
using TakeEntryBack = void (*)(Entry& entry) noexcept;

// Of an object or of an entry; a call has few, but each is put down and dropped.
struct Step {
    Step(Object& of, void* what, TakeStepBack with) : object(&of), detail(what), back(with) {}
    Step(Entry& of, TakeEntryBack with) : entry(&of), entryBack(with) {}

    void TakeBack() const noexcept { entry ? entryBack(*entry) : back(*object, detail); }

    Ref<Object> object;
    Ref<Entry> entry;  // null: a step of the object
    void* detail = nullptr;
    union {
        TakeStepBack back;
        TakeEntryBack entryBack;
    };
};

struct ThreadContext {
    unsigned depth = 0;               // how many published calls, one inside the other, the thread is in
    unsigned several = 0;             // how many SeveralCalls it has
    std::vector<PendingEvent> queue;  // not delivered yet
    std::vector<Step> steps;          // of the operations under way, the outermost one's first

    // Both lists are emptied when events are delivered in the middle of a call. So an operation remembers where it
    // began by the number of steps and events that were ever put into them and not dropped from their ends.
    std::size_t stepsEver = 0, eventsEver = 0;
    std::size_t eventsKept = 0;  // of the events ever raised, so many are delivered even if the call fails

    bool HoldsModuleLock() const noexcept { return (depth | several) != 0; }
};

// The calling thread's, made on first use. Throws std::bad_alloc when it cannot be made.
ThreadContext& CurrentThread();

// How deep the calling thread is inside the model; 0 outside. Makes no context.
unsigned CallDepth() noexcept;

// Begins a call: takes the module lock, unless the thread has it, and counts how deep the thread is inside the model.
// Throws as CurrentThread() does. Each system's Enter() is beside its CurrentThread(), so that the compiler makes one
// function of them: that saves a sixth of the time of the shortest published call.
ThreadContext& Enter();

// What Enter() does once it has the context.
inline ThreadContext& EnteredBy(ThreadContext& thread) {
    if (!thread.HoldsModuleLock()) ModuleLock().lock();
    ++thread.depth;
    return thread;
}

}  // namespace lumvex::inside
