// The rows that a download delivered.
#pragma once

#include <string>
#include <vector>

#include "Values.h"

namespace vtdl::host {

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
