// For a module that is told of threads that come and go, and of its own end.
#pragma once

#include <memory>

#include "core/objects/thread_context.hpp"

namespace lumvex::inside {

void DetachThread() noexcept;   // the calling thread ends
void DetachProcess() noexcept;  // no call of the model follows, on any thread

}  // namespace lumvex::inside
