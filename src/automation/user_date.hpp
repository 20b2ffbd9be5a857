// Dates and times as the user of the machine writes them.
#pragma once

#include <string>

#include "lumvex/automation.hpp"

namespace lumvex::inside {

// The user's short date, and the time of day; empty for a date beyond the calendar.
std::u16string UserDate(DATE date);
std::u16string UserTime(DATE date);

}  // namespace lumvex::inside
