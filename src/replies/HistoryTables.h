#pragma once
// The services' tables of days: prices and dividends of the chart service, prices of the finance
// service (both newest row first), and futures with open interest.

#include <optional>
#include <string_view>

#include "replies/DelimitedRows.h"

namespace vtdl::replies {

// The chart service.

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

// The finance service.

/// What the data source announces.
inline constexpr ColumnSpec googleAnnouncedColumns[] = {
    {L"DATE", ColumnType::date},     {L"OPEN", ColumnType::decimal},
    {L"HIGH", ColumnType::decimal},  {L"LOW", ColumnType::decimal},
    {L"CLOSE", ColumnType::decimal}, {L"VOLUME", ColumnType::decimal},
};

/// What a download delivers: the volume is an integer there, on purpose.
inline constexpr ColumnSpec googleColumns[] = {
    {L"DATE", ColumnType::date},     {L"OPEN", ColumnType::decimal},
    {L"HIGH", ColumnType::decimal},  {L"LOW", ColumnType::decimal},
    {L"CLOSE", ColumnType::decimal}, {L"VOLUME", ColumnType::integer},
};

/// True when the header stands near the front of the reply, behind a byte-order mark or not.
bool IsGoogleTable(std::string_view reply);

/// Appends the rows in the order of the reply. Fields that are not plain decimals or dates, and
/// missing ones, go to the reader; what it throws passes through.
void ParseGoogleTable(std::string_view reply, Columns& columns, OddFieldReader& oddFields);

// The futures service.

inline constexpr ColumnSpec pifinColumns[] = {
    {L"DATE", ColumnType::date},       {L"OPEN", ColumnType::decimal},
    {L"HIGH", ColumnType::decimal},    {L"LOW", ColumnType::decimal},
    {L"CLOSE", ColumnType::decimal},   {L"VOLUME", ColumnType::integer},
    {L"OPENINT", ColumnType::integer},
};

/// True when the reply begins with the table's header.
bool IsPifinTable(std::string_view reply);

/// The number of columns in the header of a table.
std::size_t PifinColumnCount(std::string_view reply);

/// Appends the rows in the order of the reply. Fields that are not plain decimals or dates, and
/// missing ones, go to the reader; what it throws passes through.
void ParsePifinTable(std::string_view reply, Columns& columns, OddFieldReader& oddFields);

// Dates of the first two.

/// Reads a date from the front of [first, last): year-month-day, or day-month name-year with a
/// two-digit year (below 50: 20xx, else 19xx).
DateRead ReadServiceDate(const char* first, const char* last) noexcept;

/// The same for a whole text, as an automation date. Nothing for a day that does not exist.
std::optional<double> ParseServiceDate(std::string_view text) noexcept;

}  // namespace vtdl::replies
