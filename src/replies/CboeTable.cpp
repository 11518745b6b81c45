#include "replies/CboeTable.h"

#include <optional>

#include "replies/Quote.h"
#include "text/Ascii.h"
#include "text/CalendarDate.h"
#include "text/Decimal.h"

namespace vtdl::replies {
namespace {

enum OptionColumn : std::size_t { ticker, expiration, strike, last };

constexpr std::size_t fieldsPerSide = 7;
constexpr std::size_t quoteLines = 3;  // two of the quote, and the columns' header
constexpr std::string_view lineEnd = "\r\n";

// Takes the text up to the separator off the front.
std::string_view TakeCrLfLine(std::string_view& rest) {
    const std::size_t end = rest.find(lineEnd);
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + lineEnd.size());
    return line;
}

using OptionFields = std::array<std::string_view, 2 * fieldsPerSide>;

// False for a line with fewer fields.
bool SplitOptions(std::string_view line, OptionFields& fields) {
    const char* p = line.data();
    const char* const end = p + line.size();
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const char* const start = p;
        while (p != end && *p != ',') ++p;
        fields[i] = {start, static_cast<std::size_t>(p - start)};
        if (p != end)
            ++p;
        else if (i + 1 < fields.size())
            return false;
    }
    return true;
}

std::size_t CountLines(std::string_view text) {
    std::size_t count = 1;
    for (std::size_t at = text.find(lineEnd); at != std::string_view::npos;
         at = text.find(lineEnd, at + lineEnd.size()))
        ++count;
    return count;
}

class SideParser {
public:
    SideParser(Columns& columns, OddFieldReader& oddFields)
        : m_columns(columns), m_oddFields(oddFields) {}

    /// Reads a side that is just as the service writes it, in one pass, and moves behind its last
    /// field's comma. False at the first thing that is otherwise; Parse() then reads the line.
    bool ParseRegular(const char*& p, const char* end, std::size_t row) {
        if (end - p < 8 || p[6] != ' ') return false;
        const std::string_view month(p, 6);
        const bool isNew = month != m_month;
        // A line or field may end inside these six characters.
        if (isNew && (month.find_first_of(",\r") != month.npos || !LearnMonth(month))) return false;
        text::DecimalRead number = text::ReadDecimal(p + 7, end);
        p = number.end;
        if (end - p < 3 || p[0] != ' ' || p[1] != '(') return false;
        const char* const symbol = p + 2;
        for (p = symbol; p != end && *p != ')'; ++p)
            if (*p == ',' || *p == '\r') return false;
        m_columns.Texts(ticker)[row] = {symbol, static_cast<std::size_t>(p - symbol)};
        m_columns[expiration][row] = m_expiry;
        m_columns[strike][row] = number.value;
        if (end - p < 2 || p[1] != ',') return false;
        p += 2;
        for (std::size_t column = last; column < last + fieldsPerSide - 1; ++column) {
            if (end - p > 1 && p[0] == ' ' && p[1] == ',') ++p;
            number = text::ReadDecimal(p, end);
            p = number.end;
            if (p == end || *p != ',') return false;
            m_columns[column][row] = number.value;
            ++p;
        }
        return true;
    }

    /// Leaves the row as if nothing had been read.
    void Reset(std::size_t row) {
        m_columns.Texts(ticker)[row] = {};
        for (std::size_t column = expiration; column < last + fieldsPerSide - 1; ++column)
            m_columns[column][row] = 0;
    }

    void Parse(const std::string_view* fields, std::size_t row) {
        const std::string_view description = fields[0];
        if (description.empty()) return;
        m_line = row + quoteLines + 1;
        const std::string_view option =
            description.substr(std::min<std::size_t>(7, description.size()));
        m_columns.Texts(ticker)[row] = CboeSymbol(option);
        m_columns[expiration][row] = Expiry(description.substr(0, 6));
        m_columns[strike][row] = Number(option.substr(0, option.find(' ')), strike);
        for (std::size_t i = 1; i < fieldsPerSide; ++i)
            m_columns[strike + i][row] = Number(fields[i], strike + i);
    }

private:
    double Expiry(std::string_view text) {
        return LearnMonth(text) ? m_expiry : m_oddFields.Read({m_line, expiration, text, false});
    }

    // Neighbouring lines mostly have the same month, and its third Friday takes a while.
    bool LearnMonth(std::string_view text) {
        if (text == m_month) return true;
        const std::optional<double> first = ParseCboeExpiry(text);
        if (!first) return false;
        m_month = text;
        m_expiry = *text::ToAutomationDate(text::ThirdFriday(text::ToCalendarDate(*first)));
        return true;
    }

    double Number(std::string_view text, std::size_t column) {
        if (text.empty() || text == " ") return 0;
        const char* const end = text.data() + text.size();
        const text::DecimalRead number = text::ReadDecimal(text.data(), end);
        return number.end == end ? number.value : m_oddFields.Read({m_line, column, text, false});
    }

    Columns& m_columns;
    OddFieldReader& m_oddFields;
    std::size_t m_line = 0;
    std::string_view m_month;
    double m_expiry = 0;
};

}  // namespace

CboeTable ParseCboeTable(std::string_view reply, OddFieldReader& oddFields) {
    CboeTable table;
    if (const std::size_t end = reply.rfind(lineEnd); end != std::string_view::npos)
        reply = reply.substr(0, end);
    const std::size_t lines = CountLines(reply);
    table.quote.first = SplitFields(TakeCrLfLine(reply));
    table.quote.second = SplitFields(TakeCrLfLine(reply));
    TakeCrLfLine(reply);
    if (lines <= quoteLines) return table;

    table.calls.AddRows(lines - quoteLines);
    table.puts.AddRows(lines - quoteLines);
    SideParser calls(table.calls, oddFields);
    SideParser puts(table.puts, oddFields);
    OptionFields fields;
    for (std::size_t row = 0; row < table.calls.Rows(); ++row) {
        const char* p = reply.data();
        const char* const end = p + reply.size();
        if (calls.ParseRegular(p, end, row) && puts.ParseRegular(p, end, row)) {
            reply.remove_prefix(static_cast<std::size_t>(p - reply.data()));
            TakeCrLfLine(reply);
            continue;
        }
        calls.Reset(row);
        puts.Reset(row);
        if (!SplitOptions(TakeCrLfLine(reply), fields)) break;  // the rest is ignored, on purpose
        calls.Parse(fields.data(), row);
        puts.Parse(fields.data() + fieldsPerSide, row);
    }
    return table;
}

std::optional<double> ParseCboeDate(std::string_view text) noexcept {
    if (text.size() < 11) return std::nullopt;
    text::CalendarDate date{};
    date.month = text::MonthOf(text.substr(0, 3));
    const char* const day = text.data() + 4;
    const char* const year = text.data() + 7;
    // A day below ten may have a blank in front of it.
    const char* const digits = *day == ' ' ? day + 1 : day;
    if (text::ReadSmallNumber(digits, day + 2, date.day) != day + 2 ||
        text::ReadSmallNumber(year, year + 4, date.year) != year + 4)
        return std::nullopt;
    return text::ToAutomationDate(date);
}

std::string_view CboeSymbol(std::string_view description) noexcept {
    const std::size_t open = description.find('(');
    const std::size_t close = description.find(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open)
        return {};
    return description.substr(open + 1, close - open - 1);
}

std::optional<double> ParseCboeExpiry(std::string_view text) noexcept {
    int year = 0;
    const char* const end = text.data() + std::min<std::size_t>(2, text.size());
    if (text.empty() || text::ReadSmallNumber(text.data(), end, year) != end) return std::nullopt;
    const int month = text.size() < 6 ? 0 : text::MonthOf(text.substr(3, 3));
    return text::ToAutomationDate({year + (year < 32 ? 2000 : 1900), month ? month : 12, 1});
}

}  // namespace vtdl::replies
