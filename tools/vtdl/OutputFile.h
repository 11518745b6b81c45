// Files that are written completely or not at all.
#pragma once

#include <string>
#include <string_view>

namespace vtdl::host {

/// Writes beside the file, then puts the new file in its place in one step; an existing file is
/// replaced, and stays as it was when anything fails. Throws Failure.
void WriteFile(const std::string& name, std::string_view content);

}  // namespace vtdl::host
