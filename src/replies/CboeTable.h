#pragma once
// The option chain of an underlying: a quote of two lines, a header, and a line a strike with a
// call on its left and a put on its right.

#include <array>
#include <optional>
#include <string_view>
#include <vector>

#include "replies/Columns.h"

namespace vtdl::replies {

inline constexpr ColumnSpec cboeOptionColumns[] = {
    {L"TICKER", ColumnType::string},   {L"EXPIRATION", ColumnType::date},
    {L"STRIKE", ColumnType::decimal},  {L"LAST", ColumnType::decimal},
    {L"NET", ColumnType::decimal},     {L"BID", ColumnType::decimal},
    {L"ASK", ColumnType::decimal},     {L"VOLUME", ColumnType::decimal},
    {L"OPENINT", ColumnType::decimal},
};

/// The underlying's quote: the fields of the first two lines, as far as they are there.
struct CboeQuote {
    std::vector<std::string_view> first;
    std::vector<std::string_view> second;
};

/// The pieces are of the reply, which has to outlive the table.
struct CboeTable {
    CboeQuote quote;
    /// Equally long: row k of both is the line k of the options. A side whose option is missing,
    /// and the lines from the first short one on, stay empty and zero.
    Columns calls{cboeOptionColumns};
    Columns puts{cboeOptionColumns};
};

/// Takes a whole reply apart. A missing number, one blank in most replies, is 0; fields that are no
/// plain decimals, and expiry years that are no numbers, go to the reader (row: the line of the
/// reply); what it throws passes through.
CboeTable ParseCboeTable(std::string_view reply, OddFieldReader& oddFields);

/// The quote's date, from "Nov 15 2026 @ 10:30 ET"; the time of day is dropped. Nothing for a text
/// of another form or a day that does not exist.
std::optional<double> ParseCboeDate(std::string_view text) noexcept;

/// The option's own symbol: what stands in the first parentheses, empty without them.
std::string_view CboeSymbol(std::string_view description) noexcept;

/// The first day of the month in "10 Nov": years below 32 are 20xx, others 19xx. Every unknown
/// month is December, on purpose. Nothing when the year is no number.
std::optional<double> ParseCboeExpiry(std::string_view text) noexcept;

}  // namespace vtdl::replies
