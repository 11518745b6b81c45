#include "Values.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>

namespace vtdl::host {
namespace {

using namespace std::chrono;

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

bool IsZeroDate(const Value& value) { return value == Value{Date{0}}; }

bool IsPlaceholder(const Block& block) {
    const auto first = [](const Column& column) -> const Value& { return column.at(0); };
    const auto isNothing = [](const Value& value) {
        return IsZeroDate(value) || value == Value{} || value == Value{0.0};
    };
    return block.Rows() == 1 && std::ranges::any_of(block.columns, IsZeroDate, first) &&
           std::ranges::all_of(block.columns, isNothing, first);
}

bool IsEmptyQuote(const Block& block) {
    return block.isQuote && std::ranges::all_of(block.columns, [](const Column& column) {
               return column.at(0) == Value{} || column.at(0) == Value{std::string()};
           });
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

const Value& Column::at(std::size_t row) const {
    static const Value none;
    return row < values.size() ? values[row] : none;
}

std::size_t Block::Rows() const {
    std::size_t rows = 0;
    for (const Column& column : columns) rows = std::max(rows, column.values.size());
    return rows;
}

bool HasRows(const Result& result) {
    return std::ranges::any_of(result.blocks, [](const Block& block) {
        return block.Rows() > 0 && !IsPlaceholder(block) && !IsEmptyQuote(block);
    });
}

Result Newest(Result result, std::size_t rows) {
    if (result.blocks.size() != 1 || result.blocks[0].isQuote) return result;
    Block& block = result.blocks[0];
    const std::size_t all = block.Rows();
    const auto dates = std::ranges::find_if(block.columns, [&](const Column& column) {
        return all > rows && std::holds_alternative<Date>(column.at(0)) &&
               std::holds_alternative<Date>(column.at(all - 1));
    });
    if (dates == block.columns.end()) return result;
    const bool isNewestLast =
        std::get<Date>(dates->at(0)).days <= std::get<Date>(dates->at(all - 1)).days;
    for (Column& column : block.columns) {
        column.values.resize(all);
        const auto cut = static_cast<std::ptrdiff_t>(isNewestLast ? all - rows : rows);
        if (isNewestLast)
            column.values.erase(column.values.begin(), column.values.begin() + cut);
        else
            column.values.erase(column.values.begin() + cut, column.values.end());
    }
    return result;
}

void Append(Result& all, const Result& one, const std::string& ticker) {
    all.isPerTicker = true;
    for (Block block : one.blocks) {
        block.name = one.blocks.size() == 1 ? ticker : ticker + " " + block.name;
        all.blocks.push_back(std::move(block));
    }
}

}  // namespace vtdl::host
