#pragma once
// The finance service's comma-separated price table, newest row first.

#include <string_view>

#include "replies/Columns.h"

namespace vtdl::replies {

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

}  // namespace vtdl::replies
