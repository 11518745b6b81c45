// Calendar dates as data files and replies write them, and the rows of a file. A row keeps the
// characters of the file, for replies repeat them unchanged.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "DataFolder.h"

namespace quoteserver {

using Date = std::chrono::sys_days;

enum class DateForm {
    Iso,      // 2004-01-09
    DayMonYy  // 9-Jan-04, the form of the service's first years
};

// Nothing unless there is such a day.
std::optional<Date> ExistingDate(int year, int month, int day);

// Nothing unless the whole text is a date that exists, in the form 2004-01-09.
std::optional<Date> ParseIsoDate(std::string_view text);

// The same for "Jan 9, 2004", which one service is asked with.
std::optional<Date> ParseEnglishDate(std::string_view text);

// What the services ever wrote as a number: no exponent, no blanks, not long enough to lose digits
// in a sum.
inline constexpr std::size_t longestDecimal = 20;  // without its sign
bool IsPlainDecimal(std::string_view text);

void AppendDate(std::string& out, Date date, DateForm form);

// "Tue May 17 05:35:35 UTC 2011"; the day of the month is padded with a blank.
std::string ClockText(std::chrono::sys_seconds time);

struct Row {
    Date date;
    std::string_view values;  // what stands after the date's comma, in the text that was parsed
    std::size_t line;
};

// The header is that of the files and of the replies alike.
struct Layout {
    std::string_view header;
    std::size_t valueCount;
    std::size_t leastCount;  // values at the end of a row may be missing, down to this many
};

inline constexpr Layout priceLayout{"Date,Open,High,Low,Close,Volume,Adj Close", 6, 6};
inline constexpr Layout dividendLayout{"Date,Dividends", 1, 1};
inline constexpr Layout splitLayout{"Date,Splits", 1, 1};  // shares for each one before
inline constexpr Layout futuresLayout{"Date,Open,High,Low,Close,Volume,OpenInt", 6, 4};

class DataError : public std::runtime_error {
public:
    DataError(std::size_t line, const std::string& what)
        : std::runtime_error("line " + std::to_string(line) + ": " + what), m_line(line) {}

    std::size_t Line() const noexcept { return m_line; }

private:
    std::size_t m_line;
};

// What to do about a damaged line: throw the error, or note it and go on behind the line.
using Complaints = std::function<void(const DataError&)>;
[[noreturn]] void Throw(const DataError& error);

// Puts the columns of a text into the layout's order, line by line, whatever their order, and their
// spelling in its header; further ones are left out. Without adjusted closes, closes stand for
// them. Complains about missing columns and about rows that do not fit their header. A text that
// has the layout's header stays as it is.
void BringIntoLayout(std::string& text, const Layout& layout, const Complaints& complain = Throw);

// Newest first, whatever the order of the file. Complains about a wrong header, a row that is not a
// date and the layout's count of plain decimal numbers, and a date that comes twice. The rows point
// into the text.
std::vector<Row> ParseRows(std::string_view text, const Layout& layout,
                           const Complaints& complain = Throw);

// The same for a file, which is brought into the layout before; what is thrown begins with its
// name.
std::vector<Row> ReadRows(DataFile& file, const Layout& layout);

struct DateRange {
    std::optional<Date> first = {};  // both bounds belong to the range; nothing = no bound
    std::optional<Date> last = {};
};

// The rows are newest first.
std::span<const Row> InRange(std::span<const Row> rows, const DateRange& range);

// Taken off the text, without its LF or CR LF.
std::string_view TakeLine(std::string_view& text);

// A byte order mark as editors put it in front of a file.
std::string_view WithoutByteOrderMark(std::string_view text);

// The part before the separator; the text goes on behind it.
std::string_view TakeField(std::string_view& text, char separator);

}  // namespace quoteserver
