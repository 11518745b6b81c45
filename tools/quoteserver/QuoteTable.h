// quotes.csv of the data folder: a line a ticker, a column a request letter ("l1" is the last
// trade).
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "DataFolder.h"

namespace quoteserver {

class QuoteTable {
public:
    // A folder without the file has no quotes. Throws std::runtime_error, naming file and line, for
    // a header without "s" and for a row that has another number of values than the header.
    explicit QuoteTable(const DataFolder& folder);

    bool has(std::string_view ticker) const { return Find(ticker) != nullptr; }

    // "N/A" for what is not known.
    std::string_view value(std::string_view ticker, std::string_view letters) const;

private:
    using Cells = std::vector<std::string>;

    const Cells* Find(std::string_view ticker) const;

    Cells m_header;
    std::size_t m_tickerColumn = 0;
    std::vector<Cells> m_rows;
};

}  // namespace quoteserver
