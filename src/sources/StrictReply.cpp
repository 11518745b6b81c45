#include "sources/StrictReply.h"

#include <algorithm>

#include "errors/CErrorHandler.h"
#include "session/SessionErrors.h"
#include "sources/HistoryRequest.h"
#include "text/ErrorNumber.h"

namespace vtdl {
namespace {

std::wstring TickerOf(_CSession* session) {
    automation::ComPtr<_CParameters> parameters;
    automation::Check(session->get_Parameters(parameters.put()));
    return std::wstring(
        automation::ToText(ParameterValue(parameters.get(), L"TICKER").get()).view());
}

}  // namespace

std::string PlaceOf(const WinInet& client) {
    const std::string port = std::to_string(static_cast<unsigned short>(client.Port));
    return client.HostName.substr(client.HostName.rfind('@') + 1) + ":" + port +
           client.Resource.substr(0, client.Resource.find('?'));
}

bool IsPage(std::string_view reply) {
    constexpr std::string_view mark = "\xEF\xBB\xBF", comment = "<!--", commentEnd = "-->";
    if (reply.starts_with(mark)) reply.remove_prefix(mark.size());
    for (;;) {
        reply.remove_prefix(std::min(reply.find_first_not_of(" \t\r\n"), reply.size()));
        const std::size_t end = reply.find(commentEnd);
        if (!reply.starts_with(comment) || end == reply.npos) return reply.starts_with('<');
        reply.remove_prefix(end + commentEnd.size());
    }
}

bool HasRows(const replies::Columns& columns) {
    return std::any_of(columns[0].begin(), columns[0].end(), [](double date) { return date != 0; });
}

// The service repeats the ticker where it knows no name.
bool HasValues(std::span<const std::string_view> values) {
    return std::any_of(values.begin(), values.end(), [&](std::string_view value) {
        return value != values.front() && value.find_first_of("123456789") != value.npos;
    });
}

void LogFailedDownload(std::wstring_view source, _CSession* session, long error,
                       const StrictVerdict& verdict) noexcept {
    try {
        std::wstring reason = ToWide(verdict.fault);
        if (reason.empty() && error == dataNotAvailable) reason = L"no rows handed over";
        std::wstring text = std::wstring(source) + L" " + TickerOf(session);
        text += L", " + ToWide(verdict.place) + L": ";
        text.append(SessionErrorText(error)) += ToWide(text::InParentheses(error));
        if (!reason.empty()) text += L": " + reason;
        gErrorHandler().LogLine(text);
    } catch (...) {
        return;  // the session has the error all the same
    }
}

}  // namespace vtdl
