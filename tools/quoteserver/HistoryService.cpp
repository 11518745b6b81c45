#include "HistoryService.h"

#include <charconv>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>

#include "Periods.h"
#include "Rows.h"

namespace quoteserver {
namespace {

std::optional<Date> Bound(const Query& query, std::string_view key) {
    const std::string_view text = query.value(key);
    if (text.empty()) {
        return std::nullopt;
    }
    const std::optional<Date> date = ParseEnglishDate(text);
    if (!date) {
        throw BadQuery(std::string(key) + "=" + std::string(text) +
                       " is not a date of the form Jan 9, 2004");
    }
    return date;
}

// The values were checked when the file was read.
void AppendRounded(std::string& out, std::string_view number) {
    double value = 0;
    std::from_chars(number.data(), number.data() + number.size(), value);
    char text[64];
    std::snprintf(text, sizeof text, "%.2f", value);
    out += text;
}

// "000" is how the files write that a volume is not known.
std::string_view Volume(std::string_view text) {
    while (text.size() > 1 && text.starts_with('0')) {
        text.remove_prefix(1);
    }
    return text;
}

template <typename Rows>
void AppendRows(std::string& out, const Rows& rows) {
    for (const auto& row : rows) {
        AppendDate(out, row.date, DateForm::DayMonYy);
        std::string_view values = row.values;
        for (int i = 0; i < 4; ++i) {
            out += ',';
            AppendRounded(out, TakeField(values, ','));
        }
        out.append(1, ',').append(Volume(TakeField(values, ','))).append(1, '\n');
    }
}

}  // namespace

HistoryService::HistoryService(DataFolder folder) : m_folder(std::move(folder)) {}

Reply HistoryService::Answer(const Query& query) const {
    std::string_view ticker = query.value("q");
    ticker.remove_prefix(ticker.find(':') + 1);  // nothing when there is no colon
    const std::string_view period = query.value("histperiod");
    if (!period.empty() && period != "DAILY" && period != "WEEKLY") {
        throw BadQuery("histperiod=" + std::string(period) + " is neither DAILY nor WEEKLY");
    }
    const DateRange range{Bound(query, "startdate"), Bound(query, "enddate")};
    std::optional<DataFile> file = m_folder.Prices(ticker);
    if (!file) {
        return ErrorPage(404, "There is no data for " + std::string(ticker));
    }
    const std::vector<Row> all = ReadRows(*file, priceLayout);
    const std::span<const Row> rows = InRange(all, range);
    std::string body =
        "\xEF\xBB\xBF"
        "Date,Open,High,Low,Close,Volume\n";
    if (period == "WEEKLY") {
        AppendRows(body, Summarise(rows, Period::Week));
    } else {
        AppendRows(body, rows);
    }
    return {200, "text/csv", std::move(body)};
}

}  // namespace quoteserver
