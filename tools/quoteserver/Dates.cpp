#include "Dates.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

namespace quoteserver {
namespace {

using namespace std::chrono;

// The replies are English whatever the machine's language is, so the C library is not asked.
constexpr std::array<std::string_view, 12> monthNames = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::array weekdayNames = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

const char* MonthName(year_month_day date) {
    return monthNames.at(static_cast<unsigned>(date.month()) - 1).data();
}

// -1 for anything but digits.
int Digits(std::string_view text) {
    int value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            return -1;
        }
        value = value * 10 + (c - '0');
    }
    return value;
}

std::optional<Date> Existing(int y, int m, int d) {
    if (y < 0 || m < 0 || d < 0) {
        return std::nullopt;
    }
    const year_month_day date{year{y}, month{static_cast<unsigned>(m)},
                              day{static_cast<unsigned>(d)}};
    return date.ok() ? std::optional<Date>{date} : std::nullopt;
}

}  // namespace

std::optional<Date> ParseIsoDate(std::string_view text) {
    if (text.size() != 10 || text[4] != '-' || text[7] != '-') {
        return std::nullopt;
    }
    const int y = Digits(text.substr(0, 4));
    const int m = Digits(text.substr(5, 2));
    const int d = Digits(text.substr(8, 2));
    return Existing(y, m, d);
}

std::optional<Date> ParseEnglishDate(std::string_view text) {
    const auto name = std::ranges::find(monthNames, text.substr(0, 3));
    const std::size_t comma = text.find(", ");
    if (name == monthNames.end() || comma == std::string_view::npos || comma < 5 || comma > 6 ||
        text[3] != ' ' || text.size() != comma + 6) {
        return std::nullopt;
    }
    return Existing(Digits(text.substr(comma + 2)), static_cast<int>(name - monthNames.begin()) + 1,
                    Digits(text.substr(4, comma - 4)));
}

void AppendDate(std::string& out, Date date, DateForm form) {
    const year_month_day parts{date};
    const int y = static_cast<int>(parts.year());
    const unsigned d = static_cast<unsigned>(parts.day());
    char text[32];
    if (form == DateForm::Iso) {
        std::snprintf(text, sizeof text, "%04d-%02u-%02u", y, static_cast<unsigned>(parts.month()),
                      d);
    } else {
        std::snprintf(text, sizeof text, "%u-%s-%02d", d, MonthName(parts), y % 100);
    }
    out += text;
}

std::string ClockText(sys_seconds time) {
    const Date date = floor<days>(time);
    const year_month_day parts{date};
    const hh_mm_ss clock{time - date};
    char text[64];
    std::snprintf(text, sizeof text, "%s %s %2u %02d:%02d:%02d UTC %d",
                  weekdayNames.at(weekday{date}.c_encoding()), MonthName(parts),
                  static_cast<unsigned>(parts.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()), static_cast<int>(parts.year()));
    return text;
}

}  // namespace quoteserver
