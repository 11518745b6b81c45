#include "sources/CDataSourceYahooHitorical.h"

#include "automation/ClassTable.h"
#include "sources/FieldReader.h"

namespace vtdl {

using namespace automation;

std::vector<ParameterDeclaration> CDataSourceYahooHitorical::SessionParameters() {
    constexpr std::wstring_view periodicities[] = {L"DAILY", L"WEEKLY", L"MONTHLY"};
    return {TickerParameter(),
            StartDateParameter(),
            EndDateParameter(),
            ListParameter(L"PERIODICITY", periodicities),
            {.name = L"ADJUST VALUES",
             .type = vtdlParameterTypeBool,
             .value = Variant(std::wstring_view(L"True"))}};
}

CDataSourceYahooHitorical::PriceRequest::PriceRequest(_CParameters* parameters)
    : HistoryRequest(parameters),
      periodicity(ParameterBytes(parameters, L"PERIODICITY")),
      isAdjusted(ToBool(ParameterValue(parameters, L"ADJUST VALUES").get())) {
    periodicity.resize(std::min<std::size_t>(periodicity.size(), 1));
    CharLowerBuffA(periodicity.data(), static_cast<DWORD>(periodicity.size()));
}

std::string CDataSourceYahooHitorical::PriceRequest::Path(double lastDay) const {
    return YahooChart::TablePath(ticker, start, lastDay, "&g=" + periodicity + "&ignore=.csv");
}

STDMETHODIMP CDataSourceYahooHitorical::Download(_CSession** session) noexcept {
    return m_download.Run(session, [&](MethodFrame& frame, _CSession* current) {
        if (!m_chart.HasServer()) frame.Step([&] { Check(SelectYahooInternalServer()); });
        const auto request = ReadRequest<PriceRequest>(frame, current);
        if (!request) return;

        replies::Columns grid(replies::yahooPriceColumns);
        if (!FetchPages(frame, current, *request, grid)) return;
        // Without any row the grid's initial row remains: a zero date and zeros, on purpose.
        if (grid.Rows() == 0) grid.AddRows(1);
        m_download.HandOver(frame, current, L"HISTORICAL", std::move(grid), RowOrder::reversed);
    });
}

STDMETHODIMP CDataSourceYahooHitorical::SelectYahooInternalServer() noexcept {
    return Framed<"SelectYahooInternalServer">(
        [&](MethodFrame& frame) { m_chart.SelectServer(frame); });
}

// False when a fetch failed: nothing is handed over then, not even earlier pages.
bool CDataSourceYahooHitorical::FetchPages(MethodFrame& frame, _CSession* session,
                                           const PriceRequest& request, replies::Columns& grid) {
    FieldReader oddFields(frame, session, identity.columns,
                          {.date = text::RoutineName<className, "FormatYahooDate">::value});
    double lastDay = request.end;
    for (;;) {
        std::string reply;
        frame.Step([&] { reply = m_chart.FetchTable(request.Path(lastDay)); });
        if (reply.empty()) return false;
        const std::size_t rows =
            replies::ParseYahooPage(reply, "Date,Open", request.isAdjusted, grid, oddFields);
        // Rows are missing.
        if (rows == 0 && grid.Rows() > 0 && !reply.starts_with("Date,Open"))
            m_download.Refuse("a later page is no table");
        if (rows != replies::yahooFullPage) return true;
        // The next page ends on the day before the oldest row. A server that does not go back in
        // time must not keep the download from ending.
        const double nextDay = grid[0].back() - 1;
        if (nextDay >= lastDay || lastDay < request.start) return true;
        lastDay = nextDay;
    }
}

VTDL_CREATABLE(CDataSourceYahooHitorical)

}  // namespace vtdl
