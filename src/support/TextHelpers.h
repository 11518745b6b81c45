#pragma once
// Dates and texts of the services, framed: a failure is handled here and gives the default result.

#include <string>
#include <string_view>

namespace vtdl::mGlobals {

/// The third Friday of the automation date's month.
double ThirdFriday(double day) noexcept;

/// 1 to 12 from the first three letters of an English month name, in any case; else 0.
short GetMonthNumber(std::wstring_view monthName) noexcept;

/// The page without its comments; see text::removeHtmlComments.
std::string DelCommentHtml(std::string_view html) noexcept;

/// A query value, its characters in the system's code page; see text::urlEncode.
std::string URLEncode(std::wstring_view text, bool spaceAsPlus) noexcept;

}  // namespace vtdl::mGlobals
