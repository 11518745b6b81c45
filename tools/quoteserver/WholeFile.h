// Files that are whole or not there at all, whatever happens meanwhile.
#pragma once

#include <filesystem>
#include <string_view>

namespace quoteserver {

inline constexpr const char* temporaryEnd = ".tmp";

// Writes it beside the file, which it then replaces in one step. Throws std::runtime_error.
void WriteWhole(const std::filesystem::path& file, std::string_view text);

}  // namespace quoteserver
