#include "sources/CDataSourceYahooDividends.h"

#include "automation/ClassTable.h"
#include "sources/FieldReader.h"

namespace vtdl {

using namespace automation;

std::vector<ParameterDeclaration> CDataSourceYahooDividends::SessionParameters() {
    return {TickerParameter(), StartDateParameter(), EndDateParameter()};
}

STDMETHODIMP CDataSourceYahooDividends::Download(_CSession** session) noexcept {
    return m_download.Run(session, [&](MethodFrame& frame, _CSession* current) {
        if (!m_chart.HasServer()) frame.Step([&] { Check(SelectYahooInternalServer()); });
        const auto request = ReadRequest<HistoryRequest>(frame, current);
        if (!request) return;

        replies::Columns grid(replies::yahooDividendColumns);
        const bool hasData = FetchPages(frame, current, *request, grid);
        if (hasData && grid.Rows() == 0) grid.AddRows(1);  // the initial row, as for prices
        if (hasData)
            m_download.HandOver(frame, current, L"HISTORICAL", std::move(grid), RowOrder::reversed);
        else
            m_download.HandOver(frame, current, L"HISTORICAL",
                                AnnouncedColumns(identity.columns).get(), false);
    });
}

STDMETHODIMP CDataSourceYahooDividends::SelectYahooInternalServer() noexcept {
    return Framed<"SelectYahooInternalServer">(
        [&](MethodFrame& frame) { m_chart.SelectServer(frame); });
}

// False when a reply says that there is no data; the columns are then handed over empty. A page of
// exactly 200 rows makes the same request again and appends its rows, on purpose.
bool CDataSourceYahooDividends::FetchPages(MethodFrame& frame, _CSession* session,
                                           const HistoryRequest& request, replies::Columns& grid) {
    FieldReader oddFields(frame, session, identity.columns,
                          {.date = text::RoutineName<className, "FormatYahooDate">::value});
    const std::string path =
        YahooChart::TablePath(request.ticker, request.start, request.end, "&g=v&ignore=.csv");
    for (;;) {
        std::string reply;
        frame.Step([&] { reply = m_chart.FetchTable(path); });
        // Fewer than three lines count as no data, on purpose, even a header with a single row.
        if (reply.empty() || replies::LineCount(reply) < 3 || replies::IsYahooNotFoundPage(reply))
            return false;
        const std::size_t rows = replies::ParseYahooPage(reply, "Date,", false, grid, oddFields);
        if (rows != replies::yahooFullPage) return true;
    }
}

VTDL_CREATABLE(CDataSourceYahooDividends)

}  // namespace vtdl
