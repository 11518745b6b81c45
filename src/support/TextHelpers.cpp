#include "support/TextHelpers.h"

#include "support/CodePage.h"
#include "support/MethodFrame.h"
#include "text/CalendarDate.h"
#include "text/CaseFold.h"
#include "text/HtmlComments.h"
#include "text/UrlEncode.h"

namespace vtdl::mGlobals {

double ThirdFriday(double day) noexcept {
    double result = 0;
    Framed<"mGlobals", "ThirdFriday">([&] {
        result = text::ToAutomationDate(text::ThirdFriday(text::ToCalendarDate(day))).value_or(0);
    });
    return result;
}

short GetMonthNumber(std::wstring_view monthName) noexcept {
    short result = 0;
    Framed<"mGlobals", "GetMonthNumber">([&] {
        constexpr std::wstring_view names = L"JANFEBMARAPRMAYJUNJULAUGSEPOCTNOVDEC";
        const std::wstring start = text::FoldCase(monthName.substr(0, 3));
        for (std::size_t i = 0; i < 12 && start.size() == 3; ++i)
            if (names.substr(3 * i, 3) == start) result = static_cast<short>(i + 1);
    });
    return result;
}

std::string DelCommentHtml(std::string_view html) noexcept {
    std::string result;
    Framed<"mGlobals", "DelCommentHtml">([&] { result = text::RemoveHtmlComments(html); });
    return result;
}

std::string URLEncode(std::wstring_view text, bool spaceAsPlus) noexcept {
    std::string result;
    Framed<"mGlobals", "URLEncode">([&] { result = text::UrlEncode(ToBytes(text), spaceAsPlus); });
    return result;
}

}  // namespace vtdl::mGlobals
