// The query of /table.csv: s=TICKER, a b c = first day (month counted from 0, day, year), d e f =
// last day, g = d, w, m (daily, weekly, monthly prices) or v (dividends). Other keys are ignored.
#pragma once

#include <string>

#include "Query.h"
#include "Rows.h"

namespace quoteserver {

enum class TableKind { Daily, Weekly, Monthly, Dividends };

struct TableQuery {
    std::string ticker;
    DateRange range = {};
    TableKind kind = TableKind::Daily;
};

// Throws BadQuery, whose text says which key makes no sense.
TableQuery ParseTableQuery(const Query& query);

}  // namespace quoteserver
