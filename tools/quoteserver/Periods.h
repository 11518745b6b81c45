// Weekly and monthly rows made of daily ones.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "Rows.h"

namespace quoteserver {

enum class Period { Week, Month };

struct PeriodRow {
    Date date;  // the first trading day of the period that is among the daily rows
    std::string values;
};

// Newest first, as the daily price rows are. Weeks run from Monday to Sunday. Prices are repeated
// as the daily rows have them; the volume is the AVERAGE of the days, as the service gave it, and
// a volume of nothing is its "000".
std::vector<PeriodRow> Summarise(std::span<const Row> daily, Period period);

}  // namespace quoteserver
