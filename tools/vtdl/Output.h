#pragma once
// Where text goes: files, which are written completely or not at all, and a terminal's window.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vtdl::host {

/// Whether a file's name has the mark {ticker}, in any case. Throws UsageError, for the option that
/// the name is of, when it has another {word}.
bool HasTickerMark(const std::string& option, std::string_view name);

/// The name with the ticker for its mark; what file names cannot have becomes an underscore.
std::string FileNameFor(std::string_view name, std::string ticker);

/// "csv" or "json" when the name ends so, in any case, else "table".
std::string FormatOfFile(std::string_view name);

/// Writes beside the file, then puts the new file in its place in one step; an existing file is
/// replaced, and stays as it was when anything fails. Throws Failure.
void WriteFile(const std::string& name, std::string_view content);

/// The lines of a text, cut or padded to so many characters, so that they cover older ones: at most
/// so many, with an ellipsis as the last if some are missing, and blank ones up to the count of
/// those they cover.
std::vector<std::string> Fitted(std::string_view text, std::size_t columns, std::size_t rows,
                                std::size_t covered);

/// "YAHOOHIST [#####.....]  50% text", shorter than a terminal's usual line.
std::string ProgressLine(std::string_view source, long percent, std::string_view statusText);

}  // namespace vtdl::host
