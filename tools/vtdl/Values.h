// Single values and their texts, which are the same in every locale.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace vtdl::host {

/// An automation date: days since 30 December 1899, the fraction being the time of day.
struct Date {
    double days;
    bool operator==(const Date&) const = default;
};

/// False for numbers beyond the years 100 to 9999, which are no days.
bool IsInCalendar(Date date);

/// monostate: no value.
using Value = std::variant<std::monostate, bool, double, Date, std::string>;

/// The shortest text that reads back as the same number; with an exponent only when it is very
/// large or very small.
std::string FormatNumber(double number);

/// "2008-01-02", "2008-01-02 16:30:00" with a time of day, "16:30:00" for a time without a day.
std::string FormatDate(Date date);

std::string FormatValue(const Value& value);

/// The text with a blank for every control character but those kept: what a service sends must not
/// reach a terminal as commands, nor a log as further lines.
std::string Printable(std::string_view text, std::string_view kept = {});

/// Nothing unless the whole text is a plain decimal number.
std::optional<double> ParseNumber(std::string_view text);

/// Nothing unless the whole text is a day that exists, in the form 2008-01-02.
std::optional<Date> ParseDate(std::string_view text);

}  // namespace vtdl::host
