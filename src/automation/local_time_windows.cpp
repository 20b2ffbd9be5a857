#include <time.h>

#include "automation/local_time.hpp"

namespace lumvex::inside {

std::optional<std::tm> LocalCalendar(std::time_t time) noexcept {
    std::tm parts{};
    if (::localtime_s(&parts, &time) != 0) return std::nullopt;
    return parts;
}

}  // namespace lumvex::inside
