#include "Values.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>

namespace vtdl::host {
namespace {

using namespace std::chrono;

constexpr sys_days dayZero = year{1899} / December / 30;
// The years 100 to 9999: what an automation date can be.
constexpr double firstDay = -657434, lastDay = 2958465;
constexpr long secondsPerDay = 86400;

template <typename Integer>
std::optional<Integer> Digits(std::string_view text) {
    Integer value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool isAll = error == std::errc{} && end == text.data() + text.size();
    return isAll && text.front() != '-' ? std::optional(value) : std::nullopt;
}

}  // namespace

bool IsInCalendar(Date date) { return date.days >= firstDay && date.days < lastDay + 1; }

std::string FormatNumber(double number) {
    if (number == 0) return "0";  // minus zero too
    const double size = std::abs(number);
    const bool isPlain = size >= 1e-6 && size < 1e15;
    char text[64];
    const auto [end, error] =
        std::to_chars(text, text + sizeof text, number,
                      isPlain ? std::chars_format::fixed : std::chars_format::scientific);
    return {text, end};
}

std::string FormatDate(Date date) {
    if (!IsInCalendar(date)) return FormatNumber(date.days);
    double day = std::trunc(date.days);
    // Before day zero, too, the fraction counts forward from the start of the day.
    long second = std::lround(std::abs(date.days - day) * secondsPerDay);
    if (second == secondsPerDay) {
        second = 0;
        day += 1;
    }
    const year_month_day parts{dayZero + days{static_cast<int>(day)}};
    char dayText[32], timeText[64];
    std::snprintf(dayText, sizeof dayText, "%04d-%02u-%02u", static_cast<int>(parts.year()),
                  static_cast<unsigned>(parts.month()), static_cast<unsigned>(parts.day()));
    std::snprintf(timeText, sizeof timeText, "%02ld:%02ld:%02ld", second / 3600, second / 60 % 60,
                  second % 60);
    if (second == 0) return dayText;
    return day == 0 ? timeText : std::string(dayText) + " " + timeText;
}

std::string FormatValue(const Value& value) {
    struct Formatter {
        std::string operator()(std::monostate) const { return {}; }
        std::string operator()(bool truth) const { return truth ? "True" : "False"; }
        std::string operator()(double number) const { return FormatNumber(number); }
        std::string operator()(Date date) const { return FormatDate(date); }
        std::string operator()(const std::string& text) const { return text; }
    };
    return std::visit(Formatter{}, value);
}

std::string Printable(std::string_view text, std::string_view kept) {
    std::string printable;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        const bool isTwoBytes = byte == 0xC2 && next >= 0x80 && next < 0xA0;
        const bool isControl = byte < ' ' || byte == 0x7F || isTwoBytes;
        printable += isControl && kept.find(text[i]) == kept.npos ? ' ' : text[i];
        if (isTwoBytes) ++i;
    }
    return printable;
}

std::optional<double> ParseNumber(std::string_view text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isAll = error == std::errc{} && end == text.data() + text.size();
    return isAll && std::isfinite(number) ? std::optional(number) : std::nullopt;
}

std::optional<Date> ParseDate(std::string_view text) {
    if (text.size() != 10 || text[4] != '-' || text[7] != '-') return std::nullopt;
    const auto y = Digits<int>(text.substr(0, 4));
    const auto m = Digits<unsigned>(text.substr(5, 2));
    const auto d = Digits<unsigned>(text.substr(8, 2));
    if (!y || !m || !d || *y < 100) return std::nullopt;
    const year_month_day date{year{*y}, month{*m}, day{*d}};
    if (!date.ok()) return std::nullopt;
    return Date{static_cast<double>((sys_days{date} - dayZero).count())};
}

}  // namespace vtdl::host
