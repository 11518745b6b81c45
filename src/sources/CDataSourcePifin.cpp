#include "sources/CDataSourcePifin.h"

#include "automation/ClassTable.h"

#include <cstdio>

#include "sources/FieldReader.h"
#include "text/CalendarDate.h"

namespace vtdl {

using namespace automation;

namespace {

std::string IsoDate(double automationDate) {
    const text::CalendarDate date = text::ToCalendarDate(automationDate);
    char text[16];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", date.year, date.month, date.day);
    return text;
}

}  // namespace

std::vector<ParameterDeclaration> CDataSourcePifin::SessionParameters() {
    return {TickerParameter(), StartDateParameter(), EndDateParameter()};
}

STDMETHODIMP CDataSourcePifin::Download(_CSession** session) noexcept {
    return m_download.Run(session, [&](MethodFrame& frame, _CSession* current) {
        const auto request = ReadRequest<HistoryRequest>(frame, current);
        if (!request) return;
        const std::string path = "/cgi-bin/pifin/q.php?t=ts&tid=" + request->ticker +
                                 "&sd=" + IsoDate(request->start) + "&ed=" + IsoDate(request->end);
        std::string reply;
        frame.Step([&] { reply = m_download.DownloadURL(m_download.NewClient(L"pifin", path)); });
        if (!replies::IsPifinTable(reply)) {
            frame.Step([&] { m_download.Deliver(current, *Make<CData>().get(), false); });
            return;
        }

        // Columns are told by their places; fewer than there should be are other ones.
        frame.Step([&] {
            const std::size_t count = replies::PifinColumnCount(reply);
            if (count < std::size(replies::pifinColumns))
                throw MakeRuntimeError(RuntimeError::subscript,
                                       L"header of " + std::to_wstring(count) + L" columns");
        });
        replies::Columns columns(replies::pifinColumns);
        FieldReader oddFields(frame, current, replies::pifinColumns,
                              {.number = text::RoutineName<className, "ToNumber">::value});
        replies::ParsePifinTable(reply, columns, oddFields);
        m_download.HandOver(frame, current, L"HISTORICAL", std::move(columns), RowOrder::same);
    });
}

void CDataSourcePifin::OnProgress(long percent) noexcept {
    Framed<"m_HTTPDNL_OnProgress">([&] { m_download.ReportProgress(percent); });
}

VTDL_CREATABLE(CDataSourcePifin)

}  // namespace vtdl
