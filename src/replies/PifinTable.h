#pragma once
// The futures service's tab-separated history with open interest.

#include <string_view>

#include "replies/Columns.h"

namespace vtdl::replies {

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

}  // namespace vtdl::replies
