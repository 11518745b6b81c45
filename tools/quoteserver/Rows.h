// The rows of a data file. A row keeps the characters of the file, for replies repeat them
// unchanged.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Dates.h"

namespace quoteserver {

struct Row {
    Date date;
    std::string_view values;  // what stands after the date's comma, in the text that was parsed
    std::size_t line;
};

// The header is that of the files and of the replies alike.
struct Layout {
    std::string_view header;
    std::size_t valueCount;
};

inline constexpr Layout priceLayout{"Date,Open,High,Low,Close,Volume,Adj Close", 6};
inline constexpr Layout dividendLayout{"Date,Dividends", 1};

class DataError : public std::runtime_error {
public:
    DataError(std::size_t line, const std::string& what)
        : std::runtime_error("line " + std::to_string(line) + ": " + what) {}
};

// Newest first, whatever the order of the file. Throws DataError for a wrong header, a row that is
// not a date and valueCount plain decimal numbers, and a date that comes twice.
// The rows point into the text.
std::vector<Row> ParseRows(std::string_view text, const Layout& layout);

// The part before the separator; the text goes on behind it.
std::string_view TakeField(std::string_view& text, char separator);

}  // namespace quoteserver
