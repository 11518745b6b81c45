#include "TableQuery.h"

#include <charconv>
#include <optional>

#include "DataFolder.h"

namespace quoteserver {
namespace {

int number(const Query& query, std::string_view key) {
    const std::string_view text = query.value(key);
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) {
        throw BadQuery(std::string(key) + "=" + std::string(text) + " is not a number");
    }
    return value;
}

// A date of which only a part is given is a mistake of the client, not an open end.
std::optional<Date> date(const Query& query, std::string_view monthKey, std::string_view dayKey,
                         std::string_view yearKey) {
    if (query.value(monthKey).empty() && query.value(dayKey).empty() &&
        query.value(yearKey).empty()) {
        return std::nullopt;
    }
    const int month = number(query, monthKey);
    const int day = number(query, dayKey);
    const int year = number(query, yearKey);
    const bool inRange =
        month >= 0 && month < 12 && day >= 1 && day <= 31 && year >= 1 && year <= 9999;
    const std::chrono::year_month_day parts{std::chrono::year{year},
                                            std::chrono::month{static_cast<unsigned>(month) + 1},
                                            std::chrono::day{static_cast<unsigned>(day)}};
    if (!inRange || !parts.ok()) {
        throw BadQuery(std::string(monthKey).append(dayKey).append(yearKey) +
                       " (month from 0, day, year) is not a date");
    }
    return Date{parts};
}

TableKind kind(std::string_view text) {
    if (text.empty() || text == "d") {
        return TableKind::Daily;
    }
    if (text == "w") {
        return TableKind::Weekly;
    }
    if (text == "m") {
        return TableKind::Monthly;
    }
    if (text == "v") {
        return TableKind::Dividends;
    }
    throw BadQuery("g=" + std::string(text) + " is none of d, w, m and v");
}

}  // namespace

TableQuery ParseTableQuery(const Query& query) {
    const std::string_view ticker = query.value("s");
    if (!IsTicker(ticker)) {
        throw BadQuery("s=" + std::string(ticker) + " is not a ticker");
    }
    return {std::string(ticker),
            {date(query, "a", "b", "c"), date(query, "d", "e", "f")},
            kind(query.value("g"))};
}

}  // namespace quoteserver
