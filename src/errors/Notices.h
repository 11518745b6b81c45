#pragma once
// Ways of telling a person, or the system, about an error: questions, the event log, log files.

#include <optional>
#include <string>
#include <string_view>

#include "errors/CErrorHandler.h"

namespace vtdl {

/// False where nobody sees a window: in a service, or on a window station of its own.
bool HasVisibleWindowStation();

// Both questions pump messages while they are open. They answer nothing when no window can be
// shown: in a process without a visible window station, without a display, or while another
// question is open, so that errors which arrive meanwhile do not stack windows.

/// Asks with Abort, Retry and Ignore.
std::optional<CErrorHandler::Answer> ShowMessageBox(const std::wstring& text);

/// Asks with the error dialog, from which the report can be sent to the support address.
std::optional<CErrorHandler::Answer> ShowErrorDialog(const std::wstring& text,
                                                     const std::wstring& supportMail);

/// Writes an error entry of the source "VTDL" to the application event log; throws on failure.
void WriteEventLog(const std::wstring& text);

/// Appends the text and a line end to the file, as UTF-8, in one write, so that processes that
/// share a log do not tear each other's records. A name without a folder is that of a file in the
/// current folder or, where that cannot be written to, in the data folder. Throws when the file
/// cannot be opened or written.
void AppendToLog(const std::wstring& fileName, std::wstring_view text);

/// Deletes the file, in whichever of the two places it is, if it can be deleted.
void DeleteLog(const std::wstring& fileName) noexcept;

}  // namespace vtdl
