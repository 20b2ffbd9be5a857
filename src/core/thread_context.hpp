// What each thread that enters the model has of its own.
#pragma once

#include <vector>

#include "core/events.hpp"

namespace lumvex::inside {

struct ThreadContext {
    unsigned depth = 0;               // published calls that the thread is inside of
    std::vector<PendingEvent> queue;  // events of the outermost one
};

// The calling thread's, made on first use. Throws std::bad_alloc when it cannot be made.
ThreadContext& CurrentThread();

}  // namespace lumvex::inside
