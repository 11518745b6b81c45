#include "TableService.h"

#include <algorithm>
#include <span>
#include <utility>

#include "Periods.h"
#include "Rows.h"

namespace quoteserver {
TableService::TableService(DataFolder folder, TableOptions options)
    : m_folder(std::move(folder)), m_options(std::move(options)) {}

Reply TableService::Answer(const Query& query) const {
    const TableQuery asked = ParseTableQuery(query);
    std::optional<DataFile> file = asked.kind == TableKind::Dividends
                                       ? m_folder.Dividends(asked.ticker)
                                       : m_folder.Prices(asked.ticker);
    if (!file) {
        return ErrorPage(404, "There is no data for " + asked.ticker);
    }
    std::string body = Table(asked, *file);
    if (body.empty()) {
        return ErrorPage(404, "There is no data for " + asked.ticker + " in this range");
    }
    if (!m_options.commentServer.empty()) {
        using namespace std::chrono;
        body += CommentLine(m_options.commentServer, floor<seconds>(system_clock::now()));
    }
    return {200, "text/csv", std::move(body)};
}

std::string TableService::Table(const TableQuery& query, DataFile& file) const {
    const Layout& layout = query.kind == TableKind::Dividends ? dividendLayout : priceLayout;
    const std::vector<Row> all = ReadRows(file, layout);
    const std::span<const Row> rows = InRange(all, query.range);
    switch (query.kind) {
        case TableKind::Weekly:
            return Page(layout.header, Summarise(rows, Period::Week));
        case TableKind::Monthly:
            return Page(layout.header, Summarise(rows, Period::Month));
        default:
            return Page(layout.header, rows);
    }
}

// Nothing, not even the header, when there are no rows.
template <typename Rows>
std::string TableService::Page(std::string_view header, const Rows& rows) const {
    std::string text;
    if (rows.empty()) {
        return text;
    }
    text.append(header).append(1, '\n');
    const std::size_t limit = m_options.rowsPerPage == 0 ? rows.size() : m_options.rowsPerPage;
    for (const auto& row : std::span(rows).first(std::min(limit, rows.size()))) {
        AppendDate(text, row.date, m_options.dates);
        text.append(1, ',').append(row.values).append(1, '\n');
    }
    return text;
}

std::string CommentLine(const std::string& server, std::chrono::sys_seconds time) {
    return "<!-- " + server + " uncompressed/chunked " + ClockText(time) + " -->\n";
}

}  // namespace quoteserver
