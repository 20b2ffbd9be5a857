// Dates and times where the user of the machine is: by the local calendar, which standard C++ does not offer in a form
// that is safe with threads, and as the user writes them.
#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "lumvex/automation.hpp"

namespace lumvex::inside {

// The time by the local calendar; none when it is out of the calendar's range.
std::optional<std::tm> LocalCalendar(std::time_t time) noexcept;

// The user's short date, and the time of day; empty for a date beyond the calendar.
std::u16string UserDate(DATE date);
std::u16string UserTime(DATE date);

}  // namespace lumvex::inside
