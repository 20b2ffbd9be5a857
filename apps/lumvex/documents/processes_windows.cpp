// One after the other: this system does not copy processes.
#include "documents/processes.hpp"

namespace lumvex::app {

void InProcesses(std::size_t count, const std::function<std::string(std::size_t)>& work,
                 const std::function<void(const std::string&)>& take) {
    for (std::size_t number = 0; number < count; ++number) take(work(number));
}

}  // namespace lumvex::app
