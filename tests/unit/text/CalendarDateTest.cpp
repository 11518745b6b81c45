#include "text/CalendarDate.h"

#include <gtest/gtest.h>

namespace vtdl::text {
namespace {

int DaysIn(int year, int month) {
    constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool isLeap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return days[month - 1] + (month == 2 && isLeap ? 1 : 0);
}

// Counts all days up from the first; on the way, the Fridays of each month.
TEST(CalendarDate, EveryDayFromTheYear100To9999) {
    int serial = -657434;
    for (int year = 100; year <= 9999; ++year) {
        for (int month = 1; month <= 12; ++month) {
            int fridays = 0;
            for (int day = 1; day <= DaysIn(year, month); ++day, ++serial) {
                const CalendarDate date{year, month, day};
                ASSERT_EQ(ToAutomationDate(date), serial) << year << '-' << month << '-' << day;
                ASSERT_EQ(ToCalendarDate(serial), date) << serial;
                const bool isFriday = (serial % 7 + 7) % 7 == 6;  // serial 0 was a Saturday
                if (isFriday && ++fridays == 3) {
                    ASSERT_EQ(ThirdFriday({year, month, 1}), date) << year << '-' << month;
                }
            }
            ASSERT_FALSE(ToAutomationDate({year, month, DaysIn(year, month) + 1}));
        }
    }
    EXPECT_EQ(serial, 2958466);
}

TEST(CalendarDate, KnownDays) {
    EXPECT_EQ(ToAutomationDate({1899, 12, 30}), 0);
    EXPECT_EQ(ToAutomationDate({1899, 12, 29}), -1);
    EXPECT_EQ(ToAutomationDate({2000, 2, 29}), 36585);
    EXPECT_EQ(ThirdFriday({2004, 10, 31}), (CalendarDate{2004, 10, 15}));  // the 15th is a Friday
    EXPECT_EQ(ThirdFriday({2003, 3, 21}), (CalendarDate{2003, 3, 21}));    // the 15th is a Saturday
}

TEST(CalendarDate, NoSuchDay) {
    for (const CalendarDate date :
         {CalendarDate{99, 12, 31}, CalendarDate{10000, 1, 1}, CalendarDate{2004, 0, 1},
          CalendarDate{2004, 13, 1}, CalendarDate{2004, 1, 0}, CalendarDate{2004, 1, 256 + 1},
          CalendarDate{2004, 256 + 1, 1}, CalendarDate{2004, -1, 1},
          CalendarDate{65536 + 2004, 1, 1}, CalendarDate{1900, 2, 29}})
        EXPECT_FALSE(ToAutomationDate(date)) << date.year << '-' << date.month << '-' << date.day;
}

TEST(CalendarDate, TheTimeOfDayCountsAwayFromZero) {
    EXPECT_EQ(ToCalendarDate(1.75), (CalendarDate{1899, 12, 31}));
    EXPECT_EQ(ToCalendarDate(0.99), (CalendarDate{1899, 12, 30}));
    EXPECT_EQ(ToCalendarDate(-0.99), (CalendarDate{1899, 12, 30}));
    EXPECT_EQ(ToCalendarDate(-1.25), (CalendarDate{1899, 12, 29}));
    EXPECT_EQ(ToCalendarDate(-2.75), (CalendarDate{1899, 12, 28}));
}

}  // namespace
}  // namespace vtdl::text
