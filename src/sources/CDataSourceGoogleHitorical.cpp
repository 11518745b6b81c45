#include "sources/CDataSourceGoogleHitorical.h"

#include "automation/ClassTable.h"
#include "objectmodel/mGlobals.h"
#include "sources/FieldReader.h"
#include "text/Ascii.h"
#include "text/CalendarDate.h"

namespace vtdl {

using namespace automation;

namespace {

// "Jan 9, 2004", its blanks and comma encoded.
std::string QueryGoogleDate(double automationDate) {
    const text::CalendarDate date = text::ToCalendarDate(automationDate);
    return std::string(text::MonthName(date.month)) + "+" + std::to_string(date.day) + "%2C+" +
           std::to_string(date.year);
}

}  // namespace

std::vector<ParameterDeclaration> CDataSourceGoogleHitorical::SessionParameters() {
    constexpr std::wstring_view periodicities[] = {L"DAILY", L"WEEKLY"};
    return {TickerParameter(), StartDateParameter(), EndDateParameter(),
            ListParameter(L"PERIODICITY", periodicities)};
}

CDataSourceGoogleHitorical::PriceRequest::PriceRequest(_CParameters* parameters)
    : HistoryRequest(parameters),
      // The client refuses control characters, and so has to see them.
      escapedTicker(text::HasControlCharacter(ticker)
                        ? ticker
                        : mGlobals::URLEncode(
                              ToText(ParameterValue(parameters, L"TICKER").get()).view(), false)),
      periodicity(ParameterBytes(parameters, L"PERIODICITY")) {}

std::string CDataSourceGoogleHitorical::PriceRequest::Path() const {
    return "/finance/historical?q=" + escapedTicker + "&histperiod=" + periodicity +
           "&startdate=" + QueryGoogleDate(start) + "&enddate=" + QueryGoogleDate(end) +
           "&output=csv";
}

STDMETHODIMP CDataSourceGoogleHitorical::Download(_CSession** session) noexcept {
    return m_download.Run(session, [&](MethodFrame& frame, _CSession* current) {
        const auto request = ReadRequest<PriceRequest>(frame, current);
        if (!request) return;
        std::string reply;
        frame.Step([&] {
            reply =
                m_download.DownloadURL(m_download.NewClient(L"google.finance", request->Path()));
        });
        if (!replies::IsGoogleTable(reply)) return;

        replies::Columns columns(replies::googleColumns);
        FieldReader oddFields(frame, current, replies::googleColumns,
                              {.date = text::RoutineName<className, "FormatGoogleDate">::value});
        replies::ParseGoogleTable(reply, columns, oddFields);
        m_download.HandOver(frame, current, L"HISTORICAL", std::move(columns), RowOrder::same);
    });
}

// The words count wherever they stand in a reply.
long CDataSourceGoogleHitorical::PageError(const std::string& reply) {
    constexpr long badRequest = 503, notFound = 504;
    if (text::FindIgnoringCase(reply, "error") != std::string::npos) return badRequest;
    return text::FindIgnoringCase(reply, "not found") != std::string::npos ? notFound : 0;
}

VTDL_CREATABLE(CDataSourceGoogleHitorical)

}  // namespace vtdl
