#include "objectmodel/mGlobals.h"

#include <atomic>
#include <vector>

#include "automation/CodePage.h"
#include "errors/MethodFrame.h"
#include "errors/Version.h"
#include "objectmodel/CData.h"
#include "settings/SharedSettings.h"
#include "text/Ascii.h"
#include "text/CalendarDate.h"
#include "text/CaseFold.h"
#include "text/HtmlComments.h"
#include "text/UrlEncode.h"
#include "transport/WinInet.h"

namespace vtdl::mGlobals {
namespace {

std::atomic<bool> isNewVersionKnown = false;

}  // namespace

HRESULT AddDataField(_CDataFields* fields, std::wstring_view name,
                     automation::Variant value) noexcept {
    using namespace automation;
    return Framed<"mGlobals", "AddDataField">([&] {
        const auto field = Make<CDataField>();
        Check(field->put_Name(Bstr(name).get()));
        field->AdoptData(std::move(value));
        _CDataField* added = field.get();
        Check(fields->Add(&added, Variant(name).put()));
    });
}

bool IsNewVersionKnown() noexcept { return isNewVersionKnown; }

bool IsNewVersionAvailable(CXMLSettings& settings) {
    const HostAddress host = ParseHost(ServiceHost(settings, L"vestora"));
    WinInet client;
    client.HostName = host.name;
    client.Port = host.port;
    client.Secure = host.isSecure;
    client.Resource = "/files/VTDL.version";
    client.Method = "GET";
    client.Configure(settings);
    client.Execute();
    const bool isReply = client.SuccessDone && !(client.Strict && client.Status() >= 400);
    const bool isNewer = isReply && IsNewerVersion(client.Response(), libraryVersion);
    if (isNewer) isNewVersionKnown = true;
    return isNewer;
}

bool IsNewerVersion(const std::string& reply, const std::array<int, 3>& own) {
    std::vector<std::string> parts(1);
    for (const char c : reply) {
        if (c == '.')
            parts.emplace_back();
        else
            parts.back() += c;
    }
    if (parts.size() != own.size()) return false;
    bool isNewer = false;  // every part is converted, so that one that is no number is an error
    for (std::size_t i = 0; i < own.size(); ++i) {
        const automation::Variant part{std::wstring_view(ToWide(parts[i]))};
        if (automation::ToLong(part.get()) > own[i]) isNewer = true;
    }
    return isNewer;
}

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
        const std::wstring start = text::FoldCase(monthName.substr(0, 3));
        for (int month = 1; month <= 12; ++month)
            if (start == text::FoldCase(ToWide(text::MonthName(month))))
                result = static_cast<short>(month);
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
