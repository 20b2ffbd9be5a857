// Automation dates: whole days since 30 December 1899 and the time of day as the fraction's magnitude.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>

#include "automation/local_time.hpp"
#include "lumvex/values.hpp"

namespace lumvex {
namespace {

using namespace std::chrono;

constexpr sys_days kFirstDay{year{100} / January / 1};
constexpr sys_days kEpoch{year{1899} / December / 30};
constexpr sys_days kLastDay{year{9999} / December / 31};
constexpr int kSecondsPerDay = 86400;

}  // namespace

std::optional<DATE> ToDate(const DateParts& parts) noexcept {
    const year_month_day date{year{parts.year}, month{static_cast<unsigned>(parts.month)},
                              day{static_cast<unsigned>(parts.day)}};
    // Checked by the numbers first: the calendar types keep only the low bits of larger ones.
    if (parts.year < 100 || parts.year > 9999 || parts.month < 1 || parts.month > 12 || parts.day < 1 ||
        parts.day > 31 || !date.ok())
        return std::nullopt;
    if (parts.hour < 0 || parts.hour > 23 || parts.minute < 0 || parts.minute > 59 || parts.second < 0 ||
        parts.second > 59)
        return std::nullopt;
    const double whole = static_cast<double>((sys_days{date} - kEpoch).count());
    const double part = (parts.hour * 3600 + parts.minute * 60 + parts.second) / double{kSecondsPerDay};
    return whole < 0 ? whole - part : whole + part;
}

std::optional<DateParts> SplitDate(DATE date) noexcept {
    if (!(std::fabs(date) < 3e6)) return std::nullopt;  // not a number, infinite, or far out of range
    double whole = 0;
    const double part = std::fabs(std::modf(date, &whole));
    int seconds = static_cast<int>(std::lround(part * kSecondsPerDay));
    sys_days day = kEpoch + days{static_cast<int>(whole)};
    if (seconds == kSecondsPerDay) {
        seconds = 0;
        day += days{1};
    }
    if (day < kFirstDay || day > kLastDay) return std::nullopt;
    const year_month_day calendar{day};
    return DateParts{int{calendar.year()},
                     static_cast<int>(unsigned{calendar.month()}),
                     static_cast<int>(unsigned{calendar.day()}),
                     seconds / 3600,
                     seconds / 60 % 60,
                     seconds % 60};
}

DATE ToDate(std::time_t time) {
    const auto local = inside::LocalCalendar(time);
    if (!local) return 0;
    // A leap second has no place in a date.
    return ToDate(DateParts{local->tm_year + 1900, local->tm_mon + 1, local->tm_mday, local->tm_hour, local->tm_min,
                            std::min(local->tm_sec, 59)})
        .value_or(0);
}

// Many objects are made in one second, and time() takes a tenth of what a clock of the standard library takes, which
// gives fractions of it. A change of the time zone counts from the next second on.
DATE LocalTimeNow() {
    struct Known {
        std::time_t time;
        DATE date;
    };
    constinit thread_local Known known{-1, 0};
    const std::time_t now = std::time(nullptr);
    if (known.time != now) known = {now, ToDate(now)};
    return known.date;
}

}  // namespace lumvex
