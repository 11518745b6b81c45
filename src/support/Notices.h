#pragma once
// Ways of telling a person, or the system, about an error.

#include <optional>
#include <string>

#include "support/CErrorHandler.h"

namespace vtdl {

/// Asks with Abort, Retry and Ignore. Nothing when no window can be shown: in a process without a
/// visible window station, or without a display.
std::optional<CErrorHandler::Answer> ShowMessageBox(const std::wstring& text);

/// Writes an error entry of the source "VTDL" to the application event log; throws on failure.
void WriteEventLog(const std::wstring& text);

}  // namespace vtdl
