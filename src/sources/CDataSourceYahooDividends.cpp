#include "sources/CDataSourceYahooDividends.h"

namespace vtdl {

using namespace automation;

std::vector<ParameterDeclaration> CDataSourceYahooDividends::sessionParameters() {
    return {tickerParameter(), startDateParameter(), endDateParameter()};
}

STDMETHODIMP CDataSourceYahooDividends::Download(_CSession** session) noexcept {
    if (!session || !*session) return E_POINTER;
    const ComPtr<_CSession> current(*session);
    return framed<"CDataSource_Download">([&](MethodFrame& frame) {
        const DownloadScope scope(*this, current.get());
        if (m_chartHost.empty()) frame.step([&] { check(SelectYahooInternalServer()); });
        std::optional<Request> request;
        frame.step([&] {
            ComPtr<_CParameters> parameters;
            check(current->get_Parameters(parameters.put()));
            request.emplace(parameters.get());
        });
        if (!request) return;

        replies::Columns grid(replies::yahooDividendColumns);
        const bool hasData = fetchPages(frame, *request, grid);
        if (hasData && grid.rows() == 0) grid.addRows(1);  // the initial row, as for prices
        handOver(frame, current.get(),
                 hasData ? reversedColumns(std::move(grid)) : announcedColumns(identity.columns));
    });
}

// False when a reply says that there is no data; the columns are then handed over empty. A page of
// exactly 200 rows makes the same request again and appends its rows, on purpose.
bool CDataSourceYahooDividends::fetchPages(MethodFrame& frame, const Request& request,
                                           replies::Columns& grid) {
    yahoo::FieldReader oddFields(frame, identity.columns);
    const std::string path =
        yahoo::tablePath(request.ticker, request.start, request.end, "&g=v&ignore=.csv");
    for (;;) {
        std::string reply;
        frame.step([&] { reply = DownloadURL(m_chartHost, path); });
        // Fewer than three lines count as no data, on purpose, even a header with a single row.
        if (reply.empty() || replies::lineCount(reply) < 3 || replies::isYahooNotFoundPage(reply))
            return false;
        const std::size_t rows = replies::parseYahooPage(reply, "Date,", false, grid, oddFields);
        if (rows != replies::yahooFullPage) return true;
    }
}

}  // namespace vtdl
