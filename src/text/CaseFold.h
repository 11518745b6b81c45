#pragma once
// Comparing names without regard to case, the same in every locale.

#include <string>
#include <string_view>

namespace vtdl::text {

/// The upper-case form of one UTF-16 unit: Latin, Greek and Cyrillic letters; others are unchanged.
wchar_t FoldCase(wchar_t c) noexcept;

std::wstring FoldCase(std::wstring_view text);

}  // namespace vtdl::text
