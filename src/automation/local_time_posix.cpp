// The user's locale is the one that the environment names at the moment of the call, whatever locale the program has
// set.
#include <locale.h>
#include <time.h>
#include <wchar.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <mutex>

#include "automation/local_time.hpp"
#include "lumvex/values.hpp"

namespace lumvex::inside {

namespace {

// Finding a locale reads files, so that the last one is kept until the environment names another. It is never
// destroyed: static objects of a client may still ask for texts when the process ends.
class UserLocale {
public:
    static UserLocale& Own() {
        static UserLocale& own = *new UserLocale;
        return own;
    }
    // Null when there is no such locale.
    locale_t Get() {
        Named named;
        for (std::size_t at = 0; at < named.size(); ++at)
            if (const char* value = std::getenv(kVariables[at])) named[at] = value;
        if (known_ && named == named_) return locale_;
        if (locale_) ::freelocale(locale_);
        locale_ = ::newlocale(LC_TIME_MASK | LC_CTYPE_MASK, "", nullptr);
        named_ = std::move(named);
        known_ = true;
        return locale_;
    }

private:
    static constexpr const char* kVariables[] = {"LC_ALL", "LC_TIME", "LC_CTYPE", "LANG", "LOCPATH"};
    using Named = std::array<std::string, std::size(kVariables)>;
    bool known_ = false;
    Named named_;
    locale_t locale_ = nullptr;
};

std::tm Calendar(const DateParts& parts) {
    using namespace std::chrono;
    const sys_days day = year{parts.year} / parts.month / parts.day;
    std::tm calendar{};
    calendar.tm_year = parts.year - 1900;
    calendar.tm_mon = parts.month - 1;
    calendar.tm_mday = parts.day;
    calendar.tm_hour = parts.hour;
    calendar.tm_min = parts.minute;
    calendar.tm_sec = parts.second;
    calendar.tm_wday = static_cast<int>(weekday{day}.c_encoding());
    calendar.tm_yday = static_cast<int>((day - sys_days{year{parts.year} / January / 1}).count());
    calendar.tm_isdst = -1;
    return calendar;
}

// Wide, so that the locale's character set does not matter.
std::u16string Written(DATE date, const wchar_t* format) {
    static constinit std::mutex mutex;
    const auto parts = SplitDate(date);
    if (!parts) return {};
    const std::tm calendar = Calendar(*parts);
    wchar_t text[256];
    std::size_t size = 0;
    {
        const std::lock_guard lock(mutex);
        const locale_t locale = UserLocale::Own().Get();
        const locale_t before = locale ? ::uselocale(locale) : nullptr;
        size = ::wcsftime(text, std::size(text), format, &calendar);
        if (before) ::uselocale(before);
    }
    std::u16string utf16;
    for (const wchar_t unit : std::wstring_view(text, size)) {
        const auto code = static_cast<char32_t>(unit);
        if (code < 0x10000) {
            utf16 += static_cast<char16_t>(code);
        } else {
            utf16 += static_cast<char16_t>(0xD7C0 + (code >> 10));
            utf16 += static_cast<char16_t>(0xDC00 + (code & 0x3FF));
        }
    }
    return utf16;
}

}  // namespace

std::optional<std::tm> LocalCalendar(std::time_t time) noexcept {
    std::tm parts{};
    if (!::localtime_r(&time, &parts)) return std::nullopt;
    return parts;
}

std::u16string UserDate(DATE date) { return Written(date, L"%x"); }

std::u16string UserTime(DATE date) { return Written(date, L"%X"); }

}  // namespace lumvex::inside
