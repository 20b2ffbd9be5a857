#include "core/guard.hpp"
#include "core/thread_context.hpp"

namespace lumvex::inside {

namespace {

// Every call asks for the context: through a pointer that needs no check of whether it was made or has to be destroyed.
constinit thread_local ThreadContext* known = nullptr;

[[gnu::noinline]] ThreadContext& MakeKnown() {
    thread_local ThreadContext context;
    return *(known = &context);
}

}  // namespace

ThreadContext& CurrentThread() { return known ? *known : MakeKnown(); }

ThreadContext& Enter() { return EnteredBy(CurrentThread()); }

}  // namespace lumvex::inside
