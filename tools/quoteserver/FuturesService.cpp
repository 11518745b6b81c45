#include "FuturesService.h"

#include <algorithm>
#include <optional>
#include <ranges>
#include <string>
#include <utility>

#include "Rows.h"

namespace quoteserver {
namespace {

std::optional<Date> Bound(const Query& query, std::string_view key) {
    const std::string_view text = query.value(key);
    if (text.empty()) {
        return std::nullopt;
    }
    const std::optional<Date> date = ParseIsoDate(text);
    if (!date) {
        throw BadQuery(std::string(key) + "=" + std::string(text) +
                       " is not a date of the form 2004-01-09");
    }
    return date;
}

// Commas become tabs.
void AppendLine(std::string& out, std::string_view line) {
    for (const char c : line) {
        out += c == ',' ? '\t' : c;
    }
}

}  // namespace

FuturesService::FuturesService(DataFolder folder) : m_folder(std::move(folder)) {}

Reply FuturesService::Answer(const Query& query) const {
    const DateRange range{Bound(query, "sd"), Bound(query, "ed")};
    const std::string ticker(query.value("tid"));
    std::optional<DataFile> file = m_folder.Futures(ticker);
    if (!file) {
        return ErrorPage(404, "There is no data for " + ticker);
    }
    const std::vector<Row> all = ReadRows(*file, futuresLayout);
    std::string body;
    AppendLine(body, futuresLayout.header);
    body += "\r\n";
    for (const Row& row : std::views::reverse(InRange(all, range))) {
        AppendDate(body, row.date, DateForm::Iso);
        body += '\t';
        AppendLine(body, row.values);
        const auto commas = std::ranges::count(row.values, ',');
        for (auto count = static_cast<std::size_t>(commas) + 1; count < futuresLayout.valueCount;
             ++count) {
            body += "\t0";
        }
        body += "\r\n";
    }
    return {200, "text/plain", std::move(body)};
}

}  // namespace quoteserver
