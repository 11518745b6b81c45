// Calendar dates as the data files and the replies write them.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace quoteserver {

using Date = std::chrono::sys_days;

enum class DateForm {
    Iso,      // 2004-01-09
    DayMonYy  // 9-Jan-04, the form of the service's first years
};

// Nothing unless the whole text is a date that exists, in the form 2004-01-09.
std::optional<Date> ParseIsoDate(std::string_view text);

// The same for "Jan 9, 2004", which one service is asked with.
std::optional<Date> ParseEnglishDate(std::string_view text);

void AppendDate(std::string& out, Date date, DateForm form);

// "Tue May 17 05:35:35 UTC 2011"; the day of the month is padded with a blank.
std::string ClockText(std::chrono::sys_seconds time);

}  // namespace quoteserver
