// Local calendar time, which standard C++ does not offer in a form that is safe with threads.
#pragma once

#include <ctime>
#include <optional>

namespace lumvex::inside {

// The time by the local calendar; none when it is out of the calendar's range.
std::optional<std::tm> LocalCalendar(std::time_t time) noexcept;

}  // namespace lumvex::inside
