// What fits a terminal's window.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vtdl::host {

/// The lines of a text, cut or padded to so many characters, so that they cover older ones: at most
/// so many, with an ellipsis as the last if some are missing, and blank ones up to the count of
/// those they cover.
std::vector<std::string> Fitted(std::string_view text, std::size_t columns, std::size_t rows,
                                std::size_t covered);

}  // namespace vtdl::host
