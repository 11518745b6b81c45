#pragma once
// The dates of the chart and finance services' tables.

#include <optional>
#include <string_view>

#include "replies/DelimitedRows.h"

namespace vtdl::replies {

/// Reads a date from the front of [first, last): year-month-day, or day-month name-year with a
/// two-digit year (below 50: 20xx, else 19xx).
DateRead ReadServiceDate(const char* first, const char* last) noexcept;

/// The same for a whole text, as an automation date. Nothing for a day that does not exist.
std::optional<double> ParseServiceDate(std::string_view text) noexcept;

}  // namespace vtdl::replies
