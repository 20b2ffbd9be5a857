// What each thread that enters the model has of its own.
#pragma once

#include <mutex>
#include <vector>

#include "core/objects/events.hpp"

namespace lumvex::inside {

// Takes a step of an operation back; see operation.hpp.
using TakeStepBack = void (*)(Object& object, void* detail) noexcept;

struct Step {
    Ref<Object> object;
    void* detail;
    TakeStepBack back;
};

struct ThreadContext {
    unsigned depth = 0;               // published calls that the thread is inside of
    std::vector<PendingEvent> queue;  // events of the outermost one
    std::vector<Step> steps;          // of the operations under way, which lie inside one another

    // Operations remember where they began by how many steps and events there had ever been, as both lists are emptied
    // when events are delivered in the middle of a call.
    std::size_t stepsGone = 0, eventsGone = 0;
    std::size_t eventsKept = 0;  // so many are told even if the call fails
    std::size_t StepsEver() const noexcept { return stepsGone + steps.size(); }
    std::size_t EventsEver() const noexcept { return eventsGone + queue.size(); }
};

// The calling thread's, made on first use. Throws std::bad_alloc when it cannot be made.
ThreadContext& CurrentThread();

inline std::recursive_mutex& ModuleLock() {
    static std::recursive_mutex lock;
    return lock;
}

// What Enter() does once it has the context. Enter() itself stands beside CurrentThread(), so that both become one
// function: a sixth of what the shortest published call costs.
inline ThreadContext& EnteredBy(ThreadContext& thread) {
    ModuleLock().lock();
    ++thread.depth;
    return thread;
}

}  // namespace lumvex::inside
