#include "Periods.h"

#include <charconv>
#include <cmath>
#include <iterator>

namespace quoteserver {
namespace {

using namespace std::chrono;

struct Prices {
    std::string_view open, high, low, close, volume, adjustedClose;
};

Prices Split(std::string_view values) {
    Prices prices;
    for (std::string_view* field : {&prices.open, &prices.high, &prices.low, &prices.close,
                                    &prices.volume, &prices.adjustedClose}) {
        *field = TakeField(values, ',');
    }
    return prices;
}

// The rows were checked to be numbers when they were read.
double Number(std::string_view text) {
    double value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

Date PeriodStart(Date date, Period period) {
    if (period == Period::Week) {
        return date - (weekday{date} - Monday);
    }
    const year_month_day parts{date};
    return Date{parts.year() / parts.month() / 1};
}

std::string AverageVolume(double sum, std::size_t dayCount) {
    const double average = std::floor(sum / static_cast<double>(dayCount));
    if (average == 0) {
        return "000";
    }
    char text[64];
    const auto end =
        std::to_chars(std::begin(text), std::end(text), average, std::chars_format::fixed, 0).ptr;
    return {text, end};
}

// One period's rows, newest first.
PeriodRow SummariseOne(std::span<const Row> rows) {
    const Prices newest = Split(rows.front().values);
    Prices all = Split(rows.back().values);
    double volume = 0;
    for (const Row& row : rows) {
        const Prices day = Split(row.values);
        if (Number(day.high) > Number(all.high)) {
            all.high = day.high;
        }
        if (Number(day.low) < Number(all.low)) {
            all.low = day.low;
        }
        volume += Number(day.volume);
    }
    PeriodRow summary{rows.back().date, {}};
    for (const std::string_view price : {all.open, all.high, all.low, newest.close}) {
        summary.values.append(price).append(1, ',');
    }
    summary.values.append(AverageVolume(volume, rows.size())).append(1, ',');
    summary.values.append(newest.adjustedClose);
    return summary;
}

}  // namespace

std::vector<PeriodRow> Summarise(std::span<const Row> daily, Period period) {
    std::vector<PeriodRow> summaries;
    while (!daily.empty()) {
        const Date start = PeriodStart(daily.front().date, period);
        std::size_t count = 1;
        while (count < daily.size() && daily[count].date >= start) {
            ++count;
        }
        summaries.push_back(SummariseOne(daily.first(count)));
        daily = daily.subspan(count);
    }
    return summaries;
}

}  // namespace quoteserver
