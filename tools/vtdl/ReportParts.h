// What goes into a bug report, without what is nobody's business.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Services.h"

namespace vtdl::host {

/// A line a setting. Values that may be secrets, or are a host's own, are only said to be there.
std::string SettingsWithoutSecrets(const std::vector<Setting>& settings);

/// Any text, with stars for accounts and keys of the settings wherever they stand.
std::string WithoutSecrets(std::string text, const std::vector<Setting>& settings);

/// The whole lines at the end of a text, no more than so many bytes.
std::string_view LastLines(std::string_view text, std::size_t most);

/// The status that a quote server tells, in ASCII.
std::string StatusText(const std::string& json);

}  // namespace vtdl::host
