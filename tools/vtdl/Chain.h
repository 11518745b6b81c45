// An option chain: its calls and its puts, side by side.
#pragma once

#include <optional>
#include <vector>

#include "Result.h"

namespace vtdl::host {

/// A row of all columns is one strike and expiration. A side that is not there is empty in that
/// row.
struct Chain {
    std::vector<Column> calls;
    std::vector<Column> series;  ///< STRIKE and EXPIRATION
    std::vector<Column> puts;    ///< TICKER last, as it is first among the calls'
};

/// Nothing unless both blocks have STRIKE and EXPIRATION and row for row the same of them. Rows
/// without either side are left out.
std::optional<Chain> ChainOf(const Block& calls, const Block& puts);

}  // namespace vtdl::host
