#pragma once
// What strict downloads are judged by, and what is left of those that fail.

#include <vtdl.h>

#include <span>
#include <string>
#include <string_view>

#include "replies/Columns.h"
#include "transport/WinInet.h"

namespace vtdl {

/// What is known of a download at its end.
struct StrictVerdict {
    std::string place;       ///< host, port and path of the last request
    std::string fault;       ///< in words
    bool hasValues = false;  ///< in the result that was handed over
};

/// Host, port and path of a request, without an account and without the query.
std::string PlaceOf(const WinInet& client);

/// True for a reply that begins with markup where no table does. Comments in front do not count.
bool IsPage(std::string_view reply);

/// True when a table has a row with a date: the one row of zeros that stands for none has not.
bool HasRows(const replies::Columns& columns);

/// True when a quote says more than which ticker it is of: a value other than zero.
bool HasValues(std::span<const std::string_view> values);

/// Writes one line into the error log, if that can be written: when, which process, what, why.
void LogFailedDownload(std::wstring_view source, _CSession* session, long error,
                       const StrictVerdict& verdict) noexcept;

}  // namespace vtdl
