#include "text/CalendarDate.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace vtdl::text {
namespace {

using namespace std::chrono;

constexpr sys_days epoch{year{1899} / December / 30};

year_month_day ChronoDate(const CalendarDate& date) {
    return year{date.year} / month{static_cast<unsigned>(date.month)} /
           day{static_cast<unsigned>(date.day)};
}

CalendarDate FromChrono(const year_month_day& date) {
    return {static_cast<int>(date.year()), static_cast<int>(static_cast<unsigned>(date.month())),
            static_cast<int>(static_cast<unsigned>(date.day()))};
}

}  // namespace

std::optional<double> ToAutomationDate(const CalendarDate& date) noexcept {
    if (date.year < 100 || date.year > 9999 || date.month < 1 || date.month > 12 || date.day < 1 ||
        date.day > 31)
        return std::nullopt;
    const year_month_day ymd = ChronoDate(date);
    if (!ymd.ok()) return std::nullopt;
    return static_cast<double>((sys_days{ymd} - epoch).count());
}

// The time of day counts away from zero, so that -1.25 is 6 o'clock on 29 December 1899.
CalendarDate ToCalendarDate(double automationDate) noexcept {
    constexpr double first = -657434, last = 2958465;  // 1 January 100 to 31 December 9999
    const double day = std::isnan(automationDate) ? 0 : std::clamp(automationDate, first, last);
    return FromChrono(epoch + days{static_cast<int>(std::trunc(day))});
}

CalendarDate ThirdFriday(const CalendarDate& date) noexcept {
    return FromChrono(
        sys_days{year{date.year} / month{static_cast<unsigned>(date.month)} / Friday[3]});
}

}  // namespace vtdl::text
