#pragma once
// What a download delivers: values with their texts, which are the same in every locale, in columns
// and blocks; and how a command ends early.

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vtdl::host {

class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    virtual int Status() const noexcept { return 1; }
};

/// What was asked for makes no sense.
class UsageError : public Failure {
public:
    using Failure::Failure;
    int Status() const noexcept override { return 2; }
};

/// The day of the automation date 0.
constexpr std::chrono::sys_days dayZero =
    std::chrono::year{1899} / std::chrono::December / std::chrono::day{30};

/// An automation date: days since that one, the fraction being the time of day.
struct Date {
    double days;
    bool operator==(const Date&) const = default;
};

/// False for numbers beyond the years 100 to 9999, which are no days.
bool IsInCalendar(Date date);

/// monostate: no value.
using Value = std::variant<std::monostate, bool, double, Date, std::string>;

/// The shortest text that reads back as the same number; with an exponent only when it is very
/// large or very small.
std::string FormatNumber(double number);

/// "2008-01-02", "2008-01-02 16:30:00" with a time of day, "16:30:00" for a time without a day.
std::string FormatDate(Date date);

std::string FormatValue(const Value& value);

/// The text with a blank for every control character but those kept: what a service sends must not
/// reach a terminal as commands, nor a log as further lines.
std::string Printable(std::string_view text, std::string_view kept = {});

/// Nothing unless the whole text is a plain decimal number.
std::optional<double> ParseNumber(std::string_view text);

/// Nothing unless the whole text is a day that exists, in the form 2008-01-02.
std::optional<Date> ParseDate(std::string_view text);

struct Column {
    std::string name;
    std::vector<Value> values;

    /// Columns may be of different lengths; past its end a column has no values.
    const Value& at(std::size_t row) const;
};

struct Block {
    std::string name;
    std::vector<Column> columns;
    bool isQuote = false;  ///< its columns are single values, no arrays

    std::size_t Rows() const;
};

struct Result {
    std::string source;
    std::vector<Block> blocks;
    bool isPerTicker = false;  ///< its blocks are named after tickers
};

/// False for a result without rows. A reply without rows arrives as a single row dated 1899-12-30
/// whose numbers are 0, or as a quote of empty texts; that is no row either.
bool HasRows(const Result& result);

/// A result whose only table is cut to so many rows at the end where the newer dates are. Whatever
/// else stays as it is: quotes, several blocks, rows without dates.
Result Newest(Result result, std::size_t rows);

/// Adds the blocks of a ticker's own result, under its name.
void Append(Result& all, const Result& one, const std::string& ticker);

}  // namespace vtdl::host
