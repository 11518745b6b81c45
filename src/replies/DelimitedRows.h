#pragma once
// Rows of a date and numbers between separators, one a line: what the history services send.

#include <algorithm>
#include <cstring>

#include "replies/Columns.h"
#include "text/Ascii.h"
#include "text/Decimal.h"

namespace vtdl::replies {

struct DateRead {
    double value;
    const char* end;  ///< the first character after the date; the start when there is none
};

/// Reads dates as Format does. Neighbouring rows are mostly of one month: of a date yyyy-mm-dd that
/// differs from the one before in its day alone, only the day is read.
template <class Format>
class DateReader {
public:
    DateRead Read(const char* first, const char* last) {
        constexpr std::ptrdiff_t length = 10;
        using text::IsDigit;
        if (last - first <= length || first[4] != '-' || first[7] != '-' || !IsDigit(first[8]) ||
            !IsDigit(first[9]) || !Format::IsSeparator(first[length]))
            return Format::ReadDate(first, last);
        const int day = (first[8] - '0') * 10 + (first[9] - '0');
        // Every month has so many.
        if (day >= 1 && day <= 28 && std::memcmp(first, m_month, sizeof m_month) == 0)
            return {m_before + day, first + length};
        const DateRead read = Format::ReadDate(first, last);
        if (read.end == first + length) {
            std::memcpy(m_month, first, sizeof m_month);
            m_before = read.value - day;
        }
        return read;
    }

private:
    char m_month[8] = {};  // yyyy-mm-
    double m_before = 0;   // the day before its first
};

/// Reads the rows of a reply one after the other into columns, the first of which is a date. Fields
/// that are not plain decimals or dates, and missing ones, go to the reader; further fields are
/// ignored. Format brings IsSeparator(char) and ReadDate(first, last).
template <class Format>
class RowParser {
public:
    RowParser(std::string_view rows, Columns& columns, OddFieldReader& oddFields)
        : m_position(rows.data()),
          m_end(rows.data() + rows.size()),
          m_columns(columns),
          m_oddFields(oddFields) {}

    /// Reads the next line, the row-th of the reply (from 1), into a row of the columns.
    void ParseRow(std::size_t row, std::size_t target) {
        const std::size_t width = m_columns.Specs().size();
        m_columns[0][target] = FinishField(m_dates.Read(m_position, m_end), row, 0);
        for (std::size_t column = 1; column < width; ++column) {
            double& value = m_columns[column][target];
            if (!IsSeparator(m_position)) {
                value = m_oddFields.Read({row, column, {}, true});
                continue;
            }
            ++m_position;
            value = FinishField(text::ReadDecimal(m_position, m_end), row, column);
        }
        m_position = std::find(m_position, m_end, '\n');
        if (m_position != m_end) ++m_position;
    }

private:
    bool IsSeparator(const char* p) const { return p != m_end && Format::IsSeparator(*p); }

    bool IsFieldEnd(const char* p) const {
        return IsSeparator(p) || p == m_end || *p == '\n' ||
               (*p == '\r' && (p + 1 == m_end || p[1] == '\n'));
    }

    // Takes a value that ends where its field ends; hands any other field to the reader.
    double FinishField(const auto& read, std::size_t row, std::size_t column) {
        if (read.end == m_position || !IsFieldEnd(read.end)) return ReadOddField(row, column);
        m_position = read.end;
        return read.value;
    }

    [[gnu::noinline]] double ReadOddField(std::size_t row, std::size_t column) {
        const char* const start = m_position;
        while (!IsFieldEnd(m_position)) ++m_position;
        return m_oddFields.Read(
            {row, column, {start, static_cast<std::size_t>(m_position - start)}, false});
    }

    DateReader<Format> m_dates;
    const char* m_position;
    const char* m_end;
    Columns& m_columns;
    OddFieldReader& m_oddFields;
};

/// Appends the rows to the columns and returns their number. The text holds at least one line; a
/// final line feed begins another one.
template <class Format>
std::size_t ParseRows(std::string_view rows, Columns& columns, OddFieldReader& oddFields) {
    const std::size_t count = text::CountOf(rows, '\n') + 1;
    const std::size_t offset = columns.Rows();
    columns.AddRows(count);
    RowParser<Format> parser(rows, columns, oddFields);
    for (std::size_t row = 0; row < count; ++row) parser.ParseRow(row + 1, offset + row);
    return count;
}

/// What follows the header line; nothing when no line follows.
inline std::string_view BelowHeader(std::string_view reply) {
    const std::size_t end = reply.find('\n');
    return end == std::string_view::npos ? std::string_view() : reply.substr(end + 1);
}

/// Without the line ends at the end.
inline std::string_view WithoutFinalLineEnds(std::string_view reply) {
    while (reply.ends_with('\n') || reply.ends_with('\r')) reply.remove_suffix(1);
    return reply;
}

}  // namespace vtdl::replies
