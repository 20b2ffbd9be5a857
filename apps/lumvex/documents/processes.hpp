// Work in several processes. The library lets one call at a time into a process, so that threads which all use it take
// turns.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace lumvex::app {

// Calls `work` for each number below `count`, and `take` with what it answered, in the order of the numbers. Where the
// system can copy a process as it is, there are as many as there are processors, and `work` runs in copies of this one:
// whatever else it does there is lost. It must not throw. No other thread may be running.
void InProcesses(std::size_t count, const std::function<std::string(std::size_t)>& work,
                 const std::function<void(const std::string&)>& take);

}  // namespace lumvex::app
