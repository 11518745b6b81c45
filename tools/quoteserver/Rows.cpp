#include "Rows.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "text/Ascii.h"

namespace quoteserver {
namespace {

using namespace std::chrono;
using vtdl::text::IsDigit;

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
        if (!IsDigit(c)) {
            return -1;
        }
        value = value * 10 + (c - '0');
    }
    return value;
}

Row ParseRow(std::string_view text, std::size_t line, const Layout& layout) {
    std::string_view rest = text;
    const std::optional<Date> date = ParseIsoDate(TakeField(rest, ','));
    if (!date) {
        throw DataError(line, "the first value is not a date of the form 2004-01-09");
    }
    const std::string_view values = rest;
    const auto commas = static_cast<std::size_t>(std::ranges::count(text, ','));
    if (commas < layout.leastCount || commas > layout.valueCount) {
        throw DataError(line, std::to_string(commas + 1) + " values instead of " +
                                  std::to_string(layout.valueCount + 1));
    }
    for (std::size_t i = 0; i < commas; ++i) {
        const std::string_view value = TakeField(rest, ',');
        if (!IsPlainDecimal(value)) {
            throw DataError(line, "\"" + std::string(value) + "\" is not a number");
        }
    }
    return {*date, values, line};
}

std::vector<std::string_view> Cells(std::string_view line) {
    std::vector<std::string_view> cells;
    cells.reserve(8);
    for (bool isLast = false; !isLast;) {
        isLast = line.find(',') == std::string_view::npos;
        cells.push_back(TakeField(line, ','));
    }
    return cells;
}

// "Adj. Close" is "adj_close" and "AdjClose".
std::string Spelling(std::string_view name) {
    std::string letters;
    for (const char c : name) {
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) {
            letters += static_cast<char>(c | 0x20);
        }
    }
    return letters;
}

// For each column of the layout its place in the file.
std::vector<std::size_t> Places(std::string_view header, const Layout& layout) {
    std::vector<std::string> names;
    for (const std::string_view cell : Cells(header)) {
        names.push_back(Spelling(cell));
    }
    std::vector<std::size_t> places;
    for (const std::string_view column : Cells(layout.header)) {
        auto found = std::ranges::find(names, Spelling(column));
        if (found == names.end() && column == "Adj Close") {
            found = std::ranges::find(names, "close");
        }
        if (found == names.end()) {
            throw DataError(1, "no column is called " + std::string(column));
        }
        places.push_back(static_cast<std::size_t>(found - names.begin()));
    }
    return places;
}

}  // namespace

bool IsPlainDecimal(std::string_view text) {
    if (text.starts_with('-')) {
        text.remove_prefix(1);
    }
    const std::size_t point = std::min(text.find('.'), text.size());
    const std::string_view whole = text.substr(0, point);
    const std::string_view fraction = text.substr(std::min(point + 1, text.size()));
    return text.size() <= longestDecimal && !whole.empty() && std::ranges::all_of(whole, IsDigit) &&
           std::ranges::all_of(fraction, IsDigit);
}

std::optional<Date> ExistingDate(int y, int m, int d) {
    const bool isInRange = y >= 1 && y <= 9999 && m >= 1 && m <= 12 && d >= 1 && d <= 31;
    const year_month_day date{year{y}, month{static_cast<unsigned>(m)},
                              day{static_cast<unsigned>(d)}};
    return isInRange && date.ok() ? std::optional<Date>{date} : std::nullopt;
}

std::optional<Date> ParseIsoDate(std::string_view text) {
    if (text.size() != 10 || text[4] != '-' || text[7] != '-') {
        return std::nullopt;
    }
    const int y = Digits(text.substr(0, 4));
    const int m = Digits(text.substr(5, 2));
    const int d = Digits(text.substr(8, 2));
    return ExistingDate(y, m, d);
}

std::optional<Date> ParseEnglishDate(std::string_view text) {
    const auto name = std::ranges::find(monthNames, text.substr(0, 3));
    const std::size_t comma = text.find(", ");
    if (name == monthNames.end() || comma == std::string_view::npos || comma < 5 || comma > 6 ||
        text[3] != ' ' || text.size() != comma + 6) {
        return std::nullopt;
    }
    return ExistingDate(Digits(text.substr(comma + 2)),
                        static_cast<int>(name - monthNames.begin()) + 1,
                        Digits(text.substr(4, comma - 4)));
}

void AppendDate(std::string& out, Date date, DateForm form) {
    const year_month_day parts{date};
    const int y = static_cast<int>(parts.year());
    const unsigned d = static_cast<unsigned>(parts.day());
    const auto m = static_cast<unsigned>(parts.month());
    char text[32];
    if (form == DateForm::Iso && y >= 0 && y <= 9999) {
        // Every row of every table has one.
        const auto digit = [](unsigned value) { return static_cast<char>('0' + value % 10); };
        const auto u = static_cast<unsigned>(y);
        out.append({digit(u / 1000), digit(u / 100), digit(u / 10), digit(u), '-', digit(m / 10),
                    digit(m), '-', digit(d / 10), digit(d)});
        return;
    }
    if (form == DateForm::Iso) {
        std::snprintf(text, sizeof text, "%04d-%02u-%02u", y, m, d);
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

void Throw(const DataError& error) { throw error; }

void BringIntoLayout(std::string& file, const Layout& layout, const Complaints& complain) {
    std::string_view text = WithoutByteOrderMark(file);
    const std::string_view header = TakeLine(text);
    if (header == layout.header) {
        return;
    }
    const auto count = static_cast<std::size_t>(std::ranges::count(header, ',')) + 1;
    std::string arranged = std::string(layout.header) + "\n";
    std::vector<std::size_t> places;
    try {
        places = Places(header, layout);
    } catch (const DataError& error) {
        complain(error);
        file = arranged;
        return;
    }
    for (std::size_t number = 2; !text.empty(); ++number) {
        const std::string_view line = TakeLine(text);
        const std::vector<std::string_view> cells = Cells(line);
        if (cells.size() == count) {
            for (const std::size_t place : places) {
                arranged.append(cells[place]) += ',';
            }
            arranged.pop_back();
        } else if (!line.empty()) {
            complain(DataError(number, std::to_string(cells.size()) + " values instead of " +
                                           std::to_string(count)));
        }
        arranged += '\n';
    }
    file = std::move(arranged);
}

std::string_view TakeLine(std::string_view& text) {
    std::string_view line = TakeField(text, '\n');
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

std::string_view WithoutByteOrderMark(std::string_view text) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    return text.starts_with(byteOrderMark) ? text.substr(byteOrderMark.size()) : text;
}

std::string_view TakeField(std::string_view& text, char separator) {
    const std::string_view field = text.substr(0, text.find(separator));
    text.remove_prefix(std::min(field.size() + 1, text.size()));
    return field;
}

std::vector<Row> ParseRows(std::string_view text, const Layout& layout,
                           const Complaints& complain) {
    text = WithoutByteOrderMark(text);
    if (TakeLine(text) != layout.header) {
        complain(DataError(1, "the header is not " + std::string(layout.header)));
        return {};
    }
    std::vector<Row> rows;
    for (std::size_t number = 2; !text.empty(); ++number) {
        const std::string_view line = TakeLine(text);
        if (line.empty()) {
            continue;
        }
        try {
            rows.push_back(ParseRow(line, number, layout));
        } catch (const DataError& error) {
            complain(error);
        }
    }
    std::ranges::stable_sort(rows, std::ranges::greater{}, &Row::date);
    for (std::size_t i = 1; i < rows.size(); ++i) {
        if (rows[i].date == rows[i - 1].date) {
            complain(DataError(rows[i].line, "its date stands on an earlier line too"));
        }
    }
    return rows;
}

std::vector<Row> ReadRows(DataFile& file, const Layout& layout) {
    try {
        BringIntoLayout(file.text, layout);
        return ParseRows(file.text, layout);
    } catch (const DataError& e) {
        throw std::runtime_error(file.name + " " + e.what());
    }
}

std::span<const Row> InRange(std::span<const Row> rows, const DateRange& range) {
    const auto begin = std::ranges::partition_point(
        rows, [&](const Row& row) { return range.last && row.date > *range.last; });
    const auto end = std::ranges::partition_point(begin, rows.end(), [&](const Row& row) {
        return !range.first || row.date >= *range.first;
    });
    return {begin, end};
}

}  // namespace quoteserver
