// Comparing and suggesting names, without regard to the case of ASCII letters.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace vtdl::host {

/// An underscore counts as a blank: ADJUST_VALUES needs no quotes on a command line.
bool SameName(std::string_view left, std::string_view right);

/// "; did you mean NEAREST?" when one of the known names is near, else nothing.
std::string Suggestion(std::string_view name, std::span<const std::string> known);

std::string Joined(std::span<const std::string> names);

}  // namespace vtdl::host
