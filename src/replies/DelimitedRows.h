#pragma once
// Rows of a date and numbers between separators, one a line: what the history services send.

#include <algorithm>

#include "replies/Columns.h"
#include "text/Decimal.h"

namespace vtdl::replies {

struct DateRead {
    double value;
    const char* end;  ///< the first character after the date; the start when there is none
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
        const DateRead day = Format::ReadDate(m_position, m_end);
        m_columns[0][target] = FinishField(day.value, day.end, {row, 0, {}, false});
        for (std::size_t column = 1; column < width; ++column) {
            double& value = m_columns[column][target];
            if (IsLineEnd(m_position)) {
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
    bool IsLineEnd(const char* p) const {
        return p == m_end || *p == '\n' || (*p == '\r' && (p + 1 == m_end || p[1] == '\n'));
    }

    bool IsFieldEnd(const char* p) const { return IsLineEnd(p) || Format::IsSeparator(*p); }

    // Takes a value that ends where its field ends; hands any other field to the reader.
    double FinishField(double value, const char* valueEnd, OddField field) {
        if (valueEnd != m_position && IsFieldEnd(valueEnd)) {
            m_position = valueEnd;
            return value;
        }
        const char* start = m_position;
        while (!IsFieldEnd(m_position)) ++m_position;
        field.text = {start, static_cast<std::size_t>(m_position - start)};
        return m_oddFields.Read(field);
    }

    const char* m_position;
    const char* m_end;
    Columns& m_columns;
    OddFieldReader& m_oddFields;
};

/// Appends the rows to the columns and returns their number. The text holds at least one line; a
/// final line feed begins another one.
template <class Format>
std::size_t ParseRows(std::string_view rows, Columns& columns, OddFieldReader& oddFields) {
    const auto count = static_cast<std::size_t>(std::count(rows.begin(), rows.end(), '\n')) + 1;
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
