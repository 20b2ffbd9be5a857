// The one thing about local time that standard C++ does not offer safely to threads.
#pragma once

#include <ctime>
#include <optional>

namespace lumvex::inside {

// The time by the local calendar; none when it is out of the calendar's range.
std::optional<std::tm> LocalCalendar(std::time_t time) noexcept;

}  // namespace lumvex::inside
