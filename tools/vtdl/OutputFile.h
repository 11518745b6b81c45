// Files that are written completely or not at all.
#pragma once

#include <string>
#include <string_view>

namespace vtdl::host {

/// Whether a file's name has the mark {ticker}, in any case. Throws UsageError, for the option that
/// the name is of, when it has another {word}.
bool HasTickerMark(const std::string& option, std::string_view name);

/// The name with the ticker for its mark; what file names cannot have becomes an underscore.
std::string FileNameFor(std::string_view name, std::string ticker);

/// Writes beside the file, then puts the new file in its place in one step; an existing file is
/// replaced, and stays as it was when anything fails. Throws Failure.
void WriteFile(const std::string& name, std::string_view content);

}  // namespace vtdl::host
