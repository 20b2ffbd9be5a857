#include "core/thread_context.hpp"

namespace lumvex::inside {

// Every call asks for the context: through a pointer that needs no check of whether it was made or has to be destroyed.
ThreadContext& CurrentThread() {
    constinit static thread_local ThreadContext* known = nullptr;
    if (known) [[likely]] return *known;
    thread_local ThreadContext context;
    return *(known = &context);
}

}  // namespace lumvex::inside
