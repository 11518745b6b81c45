// The query of /table.csv: s=TICKER, a b c = first day (month counted from 0, day, year), d e f =
// last day, g = d, w, m (daily, weekly, monthly prices) or v (dividends). Other keys are ignored.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "Dates.h"
#include "Query.h"

namespace quoteserver {

enum class TableKind { Daily, Weekly, Monthly, Dividends };

struct TableQuery {
    std::string ticker;
    std::optional<Date> first;  // both bounds belong to the range; nothing = no bound
    std::optional<Date> last;
    TableKind kind = TableKind::Daily;
};

class BadQuery : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Throws BadQuery, whose text says which key makes no sense.
TableQuery ParseTableQuery(const Query& query);

}  // namespace quoteserver
