// The text of a progress bar.
#pragma once

#include <string>
#include <string_view>

namespace vtdl::host {

/// "YAHOOHIST [#####.....]  50% text", shorter than a terminal's usual line.
std::string ProgressLine(std::string_view source, long percent, std::string_view statusText);

}  // namespace vtdl::host
