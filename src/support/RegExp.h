#pragma once
// Regular expressions of the scripting runtime.

#include <string>
#include <string_view>
#include <vector>

#include "automation/Platform.h"

namespace vtdl {

struct RegExpMatch {
    std::wstring text;
    std::vector<std::wstring> groups;
};

/// The matches of a pattern whose ^ and $ stand for the ends of lines: all of them, or the first
/// only. Throws what the runtime reports; it is missing on systems that have no scripting
/// languages.
std::vector<RegExpMatch> MatchLines(std::wstring_view pattern, std::wstring_view text, bool all);

}  // namespace vtdl
