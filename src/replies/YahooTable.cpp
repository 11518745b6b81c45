#include "replies/YahooTable.h"

#include <algorithm>
#include <array>

#include "text/CalendarDate.h"
#include "text/Decimal.h"

namespace vtdl::replies {
namespace {

enum PriceColumn : std::size_t { date, open, high, low, close, volume, adjustedClose };

bool IsDigit(char c) { return static_cast<unsigned char>(c - '0') < 10; }

// Reads an unsigned number of at most six digits; what is longer is no part of any date.
const char* ReadNumber(const char* p, const char* last, int& number) {
    const char* limit = last - p > 6 ? p + 6 : last;
    number = 0;
    for (; p != limit && IsDigit(*p); ++p) number = number * 10 + (*p - '0');
    return p;
}

int MonthOf(const char* name) {
    constexpr std::string_view names = "JanFebMarAprMayJunJulAugSepOctNovDec";
    for (std::size_t i = 0; i < names.size(); i += 3)
        if (names.substr(i, 3) == std::string_view(name, 3)) return static_cast<int>(i / 3) + 1;
    return 0;
}

// The year's digits get their century as a prefix, whatever their number: 4 is the year 204.
int WithCentury(int year, std::ptrdiff_t digits) {
    int century = year < 50 ? 20 : 19;
    for (; digits > 0; --digits) century *= 10;
    return century + year;
}

struct DateRead {
    double value;
    const char* end;  // equals the start when there is no date
};

DateRead ReadDate(const char* first, const char* last) {
    const DateRead none{0, first};
    text::CalendarDate date{};
    int leading = 0;
    const char* p = ReadNumber(first, last, leading);
    if (p == first || p == last || *p != '-') return none;
    ++p;
    if (last - p > 3 && !IsDigit(*p)) {
        date.day = leading;
        date.month = MonthOf(p);
        p += 3;
        if (*p != '-') return none;
        const char* yearText = ++p;
        p = ReadNumber(p, last, date.year);
        if (p == yearText) return none;
        date.year = WithCentury(date.year, p - yearText);
    } else {
        date.year = leading;
        const char* monthText = p;
        p = ReadNumber(p, last, date.month);
        if (p == monthText || p == last || *p != '-') return none;
        const char* dayText = ++p;
        p = ReadNumber(p, last, date.day);
        if (p == dayText) return none;
    }
    const std::optional<double> value = text::ToAutomationDate(date);
    return value ? DateRead{*value, p} : none;
}

bool IsFieldEnd(const char* p, const char* last) {
    return p == last || *p == ',' || *p == '\n' || *p == '\t' ||
           (*p == '\r' && (p + 1 == last || p[1] == '\n'));
}

bool IsLineEnd(const char* p, const char* last) {
    return p == last || *p == '\n' || (*p == '\r' && (p + 1 == last || p[1] == '\n'));
}

std::string_view FirstLine(std::string_view text) { return text.substr(0, text.find('\n')); }

// Cuts what may follow the rows: the final line feed, empty lines, and the service's comment lines
// (one a proxy), also one that is glued to the last row.
std::string_view WithoutTail(std::string_view page) {
    for (;;) {
        while (!page.empty() && (page.back() == '\n' || page.back() == '\r')) page.remove_suffix(1);
        const std::size_t lineStart = page.rfind('\n') + 1;  // npos + 1 is 0
        const std::size_t comment = page.find("<!", lineStart);
        if (comment == std::string_view::npos) return page;
        page = page.substr(0, comment);
    }
}

class PageParser {
public:
    PageParser(std::string_view rows, Columns& columns, OddFieldReader& oddFields)
        : m_position(rows.data()),
          m_end(rows.data() + rows.size()),
          m_columns(columns),
          m_oddFields(oddFields) {}

    void ParseRow(std::size_t row, std::size_t target) {
        const std::size_t width = m_columns.Specs().size();
        const DateRead day = ReadDate(m_position, m_end);
        m_columns[date][target] = FinishField(day.value, day.end, {row, date, {}, false});
        for (std::size_t column = 1; column < width; ++column) {
            double& value = m_columns[column][target];
            if (IsLineEnd(m_position, m_end)) {
                value = m_oddFields.Read({row, column, {}, true});
                continue;
            }
            ++m_position;
            const text::DecimalRead number = text::ReadDecimal(m_position, m_end);
            value = FinishField(number.value, number.end, {row, column, {}, false});
        }
        m_position = std::find(m_position, m_end, '\n');
        if (m_position != m_end) ++m_position;
    }

private:
    // Takes a value that ends where its field ends; hands any other field to the reader.
    double FinishField(double value, const char* valueEnd, OddField field) {
        if (valueEnd != m_position && IsFieldEnd(valueEnd, m_end)) {
            m_position = valueEnd;
            return value;
        }
        const char* start = m_position;
        while (!IsFieldEnd(m_position, m_end)) ++m_position;
        field.text = {start, static_cast<std::size_t>(m_position - start)};
        return m_oddFields.Read(field);
    }

    const char* m_position;
    const char* m_end;
    Columns& m_columns;
    OddFieldReader& m_oddFields;
};

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
    const std::size_t headerEnd = page.find('\n');
    if (!page.starts_with(header) || headerEnd == std::string_view::npos) return 0;

    const std::string_view rows = page.substr(headerEnd + 1);
    const auto count = static_cast<std::size_t>(std::count(rows.begin(), rows.end(), '\n')) + 1;
    const std::size_t offset = columns.Rows();
    columns.AddRows(count);
    PageParser parser(rows, columns, oddFields);
    for (std::size_t row = 0; row < count; ++row) {
        parser.ParseRow(row + 1, offset + row);
        if (adjust) AdjustRow(columns, offset + row);
    }
    return count;
}

std::optional<double> ParseYahooDate(std::string_view text) {
    const char* last = text.data() + text.size();
    const DateRead read = ReadDate(text.data(), last);
    if (read.end != last || text.empty()) return std::nullopt;
    return read.value;
}

std::size_t LineCount(std::string_view page) {
    if (page.ends_with('\n')) page.remove_suffix(1);
    return static_cast<std::size_t>(std::count(page.begin(), page.end(), '\n')) + 1;
}

bool IsYahooNotFoundPage(std::string_view page) {
    constexpr std::string_view expected = "404 not found";
    for (int line = 0; line < 2; ++line) {
        const std::size_t end = page.find('\n');
        if (end == std::string_view::npos) return false;
        page.remove_prefix(end + 1);
    }
    const std::string_view start = FirstLine(page).substr(0, expected.size());
    return std::equal(start.begin(), start.end(), expected.begin(), expected.end(),
                      [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a + 32 : a) == b; });
}

}  // namespace vtdl::replies
