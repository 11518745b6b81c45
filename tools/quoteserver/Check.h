#pragma once

#include <cstddef>
#include <filesystem>
#include <iosfwd>

namespace quoteserver {

// Reads every file of a data folder and prints each damaged line: "AAPL.csv line 7: ...". Returns
// their number. Throws std::runtime_error unless the folder is there.
std::size_t CheckFolder(const std::filesystem::path& folder, std::ostream& out);

}  // namespace quoteserver
