#pragma once

#include <cstddef>
#include <filesystem>
#include <iosfwd>

namespace quoteserver {

// Reads every file of a data folder and prints damaged lines: "AAPL.csv line 7: ...", of each file
// the first twenty. Returns the number of all. Throws std::runtime_error unless the folder is
// there.
std::size_t CheckFolder(const std::filesystem::path& folder, std::ostream& out);

}  // namespace quoteserver
