#include <time.h>

#include "automation/local_time.hpp"
#include "lumvex/values.hpp"

namespace lumvex::inside {

namespace {

constexpr int kLongest = 256;

SYSTEMTIME Calendar(const DateParts& parts) {
    SYSTEMTIME calendar{};
    calendar.wYear = static_cast<WORD>(parts.year);
    calendar.wMonth = static_cast<WORD>(parts.month);
    calendar.wDay = static_cast<WORD>(parts.day);
    calendar.wHour = static_cast<WORD>(parts.hour);
    calendar.wMinute = static_cast<WORD>(parts.minute);
    calendar.wSecond = static_cast<WORD>(parts.second);
    return calendar;
}

// The size counts the terminator; 0 for a date that the system's calendar does not have.
std::u16string Text(const wchar_t* text, int size) {
    return size > 0 ? std::u16string(text, text + size - 1) : std::u16string();
}

}  // namespace

std::optional<std::tm> LocalCalendar(std::time_t time) noexcept {
    std::tm parts{};
    if (::localtime_s(&parts, &time) != 0) return std::nullopt;
    return parts;
}

std::u16string UserDate(DATE date) {
    const auto parts = SplitDate(date);
    if (!parts) return {};
    const SYSTEMTIME calendar = Calendar(*parts);
    wchar_t text[kLongest];
    return Text(text, GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, &calendar, nullptr, text, kLongest));
}

std::u16string UserTime(DATE date) {
    const auto parts = SplitDate(date);
    if (!parts) return {};
    const SYSTEMTIME calendar = Calendar(*parts);
    wchar_t text[kLongest];
    return Text(text, GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &calendar, nullptr, text, kLongest));
}

}  // namespace lumvex::inside
