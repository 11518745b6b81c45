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
};

/// False for a result without rows. A reply without rows arrives as a single row dated 1899-12-30
/// whose numbers are 0, or as a quote of empty texts; that is no row either.
bool HasRows(const Result& result);

}  // namespace vtdl::host
