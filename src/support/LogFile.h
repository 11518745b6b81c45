#pragma once
// Plain-text logs.

#include <string>
#include <string_view>

namespace vtdl {

/// Appends the text and a line end to the file, as UTF-8, in one write, so that processes that
/// share a log do not tear each other's records. A name without a folder is that of a file in the
/// current folder or, where that cannot be written to, in the data folder. Throws when the file
/// cannot be opened or written.
void AppendToLog(const std::wstring& fileName, std::wstring_view text);

/// Deletes the file, in whichever of the two places it is, if it can be deleted.
void DeleteLog(const std::wstring& fileName) noexcept;

}  // namespace vtdl
