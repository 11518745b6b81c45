// Tables of prices as other programs and services export them.
#pragma once

#include <functional>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>

#include "Rows.h"

namespace quoteserver {

enum class SlashDates { Told, MonthFirst, DayFirst };  // Told by the file itself: one day above 12

// The rows of any number of exports, by ticker. Each is a table with a header that names its
// columns, in any order; columns that nobody knows are left out. Separators are commas, semicolons
// or tabs, and where they are no commas, decimals may have one. Tickers stand in a column, or are
// the table's name.
class Exports {
public:
    // Why a line was not taken.
    using Refuse = std::function<void(std::size_t line, const std::string& why)>;

    Exports(SlashDates dates, char decimal) : m_dates(dates), m_decimal(decimal) {}

    // Reads a table, line by line.
    void Read(std::istream& in, const std::string& name, const Refuse& refuse);

    // The values of a day as a data file has them, and where they were.
    struct Day {
        std::string values;
        std::string file;
        std::size_t line;
    };
    using Days = std::map<Date, Day, std::greater<>>;
    const std::map<std::string, Days>& Tickers() const { return m_tickers; }

private:
    class Table;

    SlashDates m_dates;
    char m_decimal;
    std::map<std::string, Days> m_tickers;
};

}  // namespace quoteserver
