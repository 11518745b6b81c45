#pragma once
// The decimal separator of the user's locale, which reply texts get before the platform converts
// them.

#include <optional>
#include <string>
#include <string_view>

namespace vtdl {

/// Determines the separator: the second character of 0.1 as text. Managers do so when they start.
void DetermineDecimalSeparator();

wchar_t DecimalSeparator();

/// The number in a text of a reply, by the platform's conversion in the user's locale, points
/// counting as decimal separators. Throws the run-time errors 13 (no number) and 6 (too large),
/// with the detail appended to their texts.
double ConvertNumber(std::wstring_view text, std::wstring_view detail);

/// The number in a text of a reply, likewise; nothing when it is none.
std::optional<double> ParseNumber(std::string_view text);

}  // namespace vtdl
