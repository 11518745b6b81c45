#pragma once
// Calendar dates as automation dates: whole days since 30 December 1899.

#include <optional>

namespace vtdl::text {

struct CalendarDate {
    int year;
    int month;  ///< 1 to 12
    int day;    ///< 1 to 31

    bool operator==(const CalendarDate&) const = default;
};

/// The automation date of a day that exists, in the years 100 to 9999; nothing for any other.
std::optional<double> ToAutomationDate(const CalendarDate& date) noexcept;

/// The day that an automation date falls on; the time of day is dropped. What lies outside the
/// years 100 to 9999 becomes the nearest day in them.
CalendarDate ToCalendarDate(double automationDate) noexcept;

/// The third Friday of the date's month: the usual expiry day of listed options.
CalendarDate ThirdFriday(const CalendarDate& date) noexcept;

}  // namespace vtdl::text
