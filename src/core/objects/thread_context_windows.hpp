// For a module whose entry point is told when threads start and end, and when it is unloaded itself.
#pragma once

#include <memory>

#include "core/objects/thread_context.hpp"

namespace lumvex::inside {

void DetachThread() noexcept;   // the calling thread ends
void DetachProcess() noexcept;  // no call of the model follows, on any thread

}  // namespace lumvex::inside
