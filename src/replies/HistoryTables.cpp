#include "replies/HistoryTables.h"

#include <algorithm>

#include "text/Ascii.h"
#include "text/CalendarDate.h"

namespace vtdl::replies {
namespace {

// The year's digits get their century as a prefix, whatever their number: 4 is the year 204.
int WithCentury(int year, std::ptrdiff_t digits) {
    int century = year < 50 ? 20 : 19;
    for (; digits > 0; --digits) century *= 10;
    return century + year;
}

}  // namespace

DateRead ReadServiceDate(const char* first, const char* last) noexcept {
    using text::ReadSmallNumber;
    const DateRead none{0, first};
    text::CalendarDate date{};
    int leading = 0;
    const char* p = ReadSmallNumber(first, last, leading);
    if (p == first || p == last || *p != '-') return none;
    ++p;
    if (last - p > 3 && !text::IsDigit(*p)) {
        date.day = leading;
        date.month = text::MonthOf({p, 3});
        p += 3;
        if (*p != '-') return none;
        const char* yearText = ++p;
        p = ReadSmallNumber(p, last, date.year);
        if (p == yearText) return none;
        date.year = WithCentury(date.year, p - yearText);
    } else {
        date.year = leading;
        const char* monthText = p;
        p = ReadSmallNumber(p, last, date.month);
        if (p == monthText || p == last || *p != '-') return none;
        const char* dayText = ++p;
        p = ReadSmallNumber(p, last, date.day);
        if (p == dayText) return none;
    }
    const std::optional<double> value = text::ToAutomationDate(date);
    return value ? DateRead{*value, p} : none;
}

std::optional<double> ParseServiceDate(std::string_view text) noexcept {
    const char* last = text.data() + text.size();
    const DateRead read = ReadServiceDate(text.data(), last);
    if (read.end != last || text.empty()) return std::nullopt;
    return read.value;
}

namespace {

enum PriceColumn : std::size_t { date, open, high, low, close, volume, adjustedClose };

struct ServiceFormat {
    static bool IsSeparator(char c) { return c == ',' || c == '\t'; }
    static DateRead ReadDate(const char* first, const char* last) {
        return ReadServiceDate(first, last);
    }
};

// Cuts what may follow the rows: the final line feed, empty lines, and the service's comment lines
// (one a proxy), also one that is glued to the last row.
std::string_view WithoutTail(std::string_view page) {
    for (;;) {
        page = WithoutFinalLineEnds(page);
        const std::size_t lineStart = page.rfind('\n') + 1;  // npos + 1 is 0
        const std::size_t comment = page.find("<!", lineStart);
        if (comment == std::string_view::npos) return page;
        page = page.substr(0, comment);
    }
}

// A zero close makes the ratio 0 and so zeroes the row's prices and volume; on purpose.
void AdjustRow(Columns& columns, std::size_t row) {
    const double closing = columns[close][row];
    const double ratio = closing == 0 ? 0 : columns[adjustedClose][row] / closing;
    for (const std::size_t column : {open, high, low, close}) columns[column][row] *= ratio;
    columns[volume][row] = ratio != 0 ? columns[volume][row] / ratio : 0;
}

}  // namespace

std::size_t ParseYahooPage(std::string_view page, std::string_view header, bool adjust,
                           Columns& columns, OddFieldReader& oddFields) {
    page = WithoutTail(page);
    if (!page.starts_with(header) || page.find('\n') == std::string_view::npos) return 0;
    const std::size_t offset = columns.Rows();
    const std::size_t count = ParseRows<ServiceFormat>(BelowHeader(page), columns, oddFields);
    for (std::size_t row = offset; adjust && row < offset + count; ++row) AdjustRow(columns, row);
    return count;
}

std::size_t LineCount(std::string_view page) {
    if (page.ends_with('\n')) page.remove_suffix(1);
    return text::CountOf(page, '\n') + 1;
}

bool IsYahooNotFoundPage(std::string_view page) {
    constexpr std::string_view expected = "404 not found";
    for (int line = 0; line < 2; ++line) {
        const std::size_t end = page.find('\n');
        if (end == std::string_view::npos) return false;
        page.remove_prefix(end + 1);
    }
    return text::EqualsIgnoringCase(page.substr(0, expected.size()), expected);
}

bool IsGoogleTable(std::string_view reply) {
    return text::FindIgnoringCase(reply.substr(0, 30), "Date,Open,") != std::string_view::npos;
}

// The header is skipped whole, and with it the byte-order mark in front of it.
void ParseGoogleTable(std::string_view reply, Columns& columns, OddFieldReader& oddFields) {
    const std::string_view rows = BelowHeader(WithoutFinalLineEnds(reply));
    if (!rows.empty()) ParseRows<ServiceFormat>(rows, columns, oddFields);
}

namespace {

struct FuturesFormat {
    static bool IsSeparator(char c) { return c == '\t'; }

    // Year, month and day by their places in "yyyy-mm-dd", whatever stands between them.
    static DateRead ReadDate(const char* first, const char* last) {
        const DateRead none{0, first};
        last =
            std::find_if(first, last, [](char c) { return c == '\t' || c == '\r' || c == '\n'; });
        const auto partAt = [&](std::ptrdiff_t start, std::ptrdiff_t length, int& number) {
            if (last - first <= start) return false;
            const char* from = first + start;
            const char* to = from + std::min(length, last - from);
            return text::ReadSmallNumber(from, to, number) == to;
        };
        text::CalendarDate date{};
        if (!partAt(0, 4, date.year) || !partAt(5, 2, date.month) || !partAt(8, 2, date.day))
            return none;
        const std::optional<double> value = text::ToAutomationDate(date);
        return value ? DateRead{*value, last} : none;
    }
};

}  // namespace

bool IsPifinTable(std::string_view reply) { return reply.starts_with("Date\tOpen"); }

std::size_t PifinColumnCount(std::string_view reply) {
    const std::string_view header = reply.substr(0, reply.find('\n'));
    return text::CountOf(header, '\t') + 1;
}

// All line ends at the end are cut, not two characters blindly: with a single line feed there, that
// would cut a digit of the last value.
void ParsePifinTable(std::string_view reply, Columns& columns, OddFieldReader& oddFields) {
    const std::string_view rows = BelowHeader(WithoutFinalLineEnds(reply));
    if (!rows.empty()) ParseRows<FuturesFormat>(rows, columns, oddFields);
}

}  // namespace vtdl::replies
