#pragma once
// The chart service's comma-separated tables: prices and dividends, newest row first.

#include <string_view>

#include "replies/Columns.h"

namespace vtdl::replies {

inline constexpr ColumnSpec yahooPriceColumns[] = {
    {L"DATE", ColumnType::date},         {L"OPEN", ColumnType::decimal},
    {L"HIGH", ColumnType::decimal},      {L"LOW", ColumnType::decimal},
    {L"CLOSE", ColumnType::decimal},     {L"VOLUME", ColumnType::decimal},
    {L"ADJ.CLOSE", ColumnType::decimal},
};

inline constexpr ColumnSpec yahooDividendColumns[] = {
    {L"DATE", ColumnType::date},
    {L"DIVIDENDS", ColumnType::decimal},
};

/// A page that holds exactly this many rows may have a successor.
inline constexpr std::size_t yahooFullPage = 200;

/// Appends the rows of one page to the columns and returns their number: 0 for a page that does not
/// begin with the header or has no row. Adjusts prices when asked. Fields that are not plain
/// decimals or dates, and missing ones, go to the reader; what it throws passes through.
std::size_t ParseYahooPage(std::string_view page, std::string_view header, bool adjust,
                           Columns& columns, OddFieldReader& oddFields);

/// The lines of a page; a final line feed begins none.
std::size_t LineCount(std::string_view page);

/// True when the third line of a page says that there is no such table.
bool IsYahooNotFoundPage(std::string_view page);

}  // namespace vtdl::replies
