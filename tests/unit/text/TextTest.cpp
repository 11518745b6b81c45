// Dates, letters, and the little languages of the web.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <set>
#include <tuple>

#include "text/CalendarDate.h"
#include "text/CaseFold.h"
#include "text/HostAddress.h"
#include "text/UrlEncode.h"

namespace vtdl::text {
namespace {

int DaysIn(int year, int month) {
    constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool isLeap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return days[month - 1] + (month == 2 && isLeap ? 1 : 0);
}

// Counts the days of two rounds of leap years; on the way, the Fridays of each month.
TEST(CalendarDate, EveryDayOf800Years) {
    int serial = -109571;
    for (int year = 1600; year < 2400; ++year) {
        for (int month = 1; month <= 12; ++month) {
            int fridays = 0;
            for (int day = 1; day <= DaysIn(year, month); ++day, ++serial) {
                const CalendarDate date{year, month, day};
                if (ToAutomationDate(date) != serial || ToCalendarDate(serial) != date)
                    FAIL() << serial << ": " << year << '-' << month << '-' << day;
                const bool isFriday = (serial % 7 + 7) % 7 == 6;  // serial 0 was a Saturday
                if (isFriday && ++fridays == 3) {
                    ASSERT_EQ(ThirdFriday({year, month, 1}), date) << year << '-' << month;
                }
            }
            ASSERT_FALSE(ToAutomationDate({year, month, DaysIn(year, month) + 1}));
        }
    }
    EXPECT_EQ(serial, 182623);
    EXPECT_EQ(ToAutomationDate({100, 1, 1}), -657434);
    EXPECT_EQ(ToAutomationDate({9999, 12, 31}), 2958465);
}

TEST(CalendarDate, NoSuchDayAndTimesThatCountAwayFromZero) {
    for (const CalendarDate date :
         {CalendarDate{99, 12, 31}, CalendarDate{10000, 1, 1}, CalendarDate{2004, 0, 1},
          CalendarDate{2004, 1, 256 + 1}, CalendarDate{2004, 256 + 1, 1},
          CalendarDate{65536 + 2004, 1, 1}, CalendarDate{1900, 2, 29}})
        EXPECT_FALSE(ToAutomationDate(date)) << date.year << '-' << date.month << '-' << date.day;
    EXPECT_EQ(ToCalendarDate(-0.99), (CalendarDate{1899, 12, 30}));
    EXPECT_EQ(ToCalendarDate(-2.75), (CalendarDate{1899, 12, 28}));
}

// A name must never be taken for another one: folding joins two characters at most, and what it
// gives stays as it is.
TEST(CaseFold, JoinsOnlyPairs) {
    EXPECT_EQ(FoldCase(L"az\u00FF\u0111\u03C2\u0436"), L"AZ\u00FF\u0110\u03C2\u0416");
    std::multiset<wchar_t> results;
    for (int code = 0; code <= 0xFFFF; ++code) {
        const wchar_t folded = FoldCase(static_cast<wchar_t>(code));
        EXPECT_EQ(FoldCase(folded), folded) << code;
        results.insert(folded);
        EXPECT_LE(results.count(folded), 2U) << code;
    }
}

TEST(UrlEncode, EveryOtherByte) {
    for (int code = 0; code < 256; ++code) {
        if (code == ' ') continue;
        const char c = static_cast<char>(code);
        const bool isPlain = code < 128 && std::isalnum(code) != 0;
        const bool hasOneDigit = code >= 10 && code <= 15;
        char hex[8];
        std::snprintf(hex, sizeof hex, hasOneDigit ? "%%%X" : "%%%02X",
                      static_cast<unsigned>(code));
        EXPECT_EQ(UrlEncode({&c, 1}, true), isPlain ? std::string(1, c) : hex) << code;
    }
    EXPECT_EQ(UrlEncode("A B", true) + UrlEncode("A B", false), "A+BA%20B");
}

TEST(HostAddress, HasAPortWhateverStandsThere) {
    for (const auto& [text, name, port, isSecure] : {std::tuple{L"h", "h", 80, false},
                                                     {L"h:65536", "h", 80, false},
                                                     {L"HTTPS://h", "h", 443, true},
                                                     {L"https://h:8443/", "h", 8443, true},
                                                     {L"https://h:x", "h", 443, true}}) {
        const HostAddress address = ParseHost(text);
        EXPECT_EQ(std::tuple(address.name, int{address.port}, address.isSecure),
                  std::tuple(std::string(name), port, isSecure));
    }
}

}  // namespace
}  // namespace vtdl::text
