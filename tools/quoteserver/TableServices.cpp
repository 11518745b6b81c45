// The folder's own tables, whole, for other quote servers and for programs.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "QuoteTable.h"
#include "Services.h"

namespace quoteserver {
namespace {

// FNV-1a of 64 bits, and the length.
std::string TagOf(const std::string& body) {
    std::uint64_t mark = 14695981039346656037U;
    for (const char c : body) {
        mark = (mark ^ static_cast<unsigned char>(c)) * 1099511628211U;
    }
    char text[64];
    std::snprintf(text, sizeof text, "\"%016llx-%zx\"", static_cast<unsigned long long>(mark),
                  body.size());
    return text;
}

std::vector<Row> RowsOf(std::optional<DataFile>& file, const Layout& layout) {
    return file ? ReadRows(*file, layout) : std::vector<Row>();
}

// Five prices and volumes, then the adjusted close or the open interest; all empty without a row.
void AppendValues(std::string& out, const Row* row, bool isFuture) {
    constexpr int plain = 5;
    std::string_view rest = row ? row->values : std::string_view();
    for (int i = 0; i < plain; ++i) {
        out.append(1, ',').append(TakeField(rest, ','));
    }
    out.append(isFuture ? ",," : ",").append(rest).append(isFuture ? "" : ",");
}

// A day has one line, with its events, which may fall on days without trade.
std::string DaysOf(const DataFolder& folder, std::string_view ticker, bool isFuture) {
    std::optional<DataFile> files[] = {isFuture ? folder.Futures(ticker) : folder.Prices(ticker),
                                       isFuture ? std::nullopt : folder.Dividends(ticker),
                                       isFuture ? std::nullopt : folder.Splits(ticker)};
    std::string body;
    if (!files[0]) {
        return body;
    }
    const std::vector<Row> tables[] = {RowsOf(files[0], isFuture ? futuresLayout : priceLayout),
                                       RowsOf(files[1], dividendLayout),
                                       RowsOf(files[2], splitLayout)};
    std::size_t next[] = {0, 0, 0};
    body = "Date,Open,High,Low,Close,Volume,Adj Close,Open Interest,Dividends,Splits\n";
    for (;;) {
        std::optional<Date> day;
        for (int i = 0; i < 3; ++i) {
            if (next[i] < tables[i].size()) {
                day = std::max(day, std::optional(tables[i][next[i]].date));
            }
        }
        if (!day) {
            return body;
        }
        const Row* rows[3] = {};
        for (int i = 0; i < 3; ++i) {
            if (next[i] < tables[i].size() && tables[i][next[i]].date == day) {
                rows[i] = &tables[i][next[i]++];
            }
        }
        AppendDate(body, *day, DateForm::Iso);
        AppendValues(body, rows[0], isFuture);
        for (const Row* event : {rows[1], rows[2]}) {
            body.append(1, ',').append(event ? event->values : std::string_view());
        }
        body += '\n';
    }
}

// No value has a comma, so that none needs quotes.
std::string QuoteOf(const DataFolder& folder, std::string_view ticker) {
    const Quote quote = QuoteTable(folder).Of(ticker, false);
    std::string header, line;
    for (auto [letters, value] : quote.Values()) {
        std::erase_if(value, [](char c) { return c == ',' || c == '"'; });
        header.append(header.empty() ? "" : ",").append(letters);
        line.append(line.empty() ? "" : ",").append(value);
    }
    return header.empty() ? header : header + "\n" + line + "\n";
}

std::string TextOf(const std::optional<DataFile>& file) { return file ? file->text : ""; }

}  // namespace

Reply AnswerTables(const DataFolder& folder, const Target& target) {
    std::string_view name = target.path;
    name.remove_prefix(tablesPath.size());
    const std::string_view ticker = target.query.value("ticker");
    if (!IsTicker(ticker)) {
        throw BadQuery("ticker=" + std::string(ticker) + " is not a ticker");
    }
    std::string body = name == "history.csv"     ? DaysOf(folder, ticker, false)
                       : name == "futures.csv"   ? DaysOf(folder, ticker, true)
                       : name == "dividends.csv" ? TextOf(folder.Dividends(ticker))
                       : name == "splits.csv"    ? TextOf(folder.Splits(ticker))
                                                 : QuoteOf(folder, ticker);
    if (body.empty()) {
        return ErrorPage(404, "There is no such table of " + std::string(ticker));
    }
    const std::string tag = TagOf(body);
    return {200, "text/csv", std::move(body), {{"ETag", tag}}};
}

Reply Unchanged(Reply reply, std::string_view known) {
    const auto& headers = reply.headers;
    const auto tag =
        std::ranges::find(headers, "ETag", &std::pair<std::string, std::string>::first);
    if (tag != headers.end() && (known == "*" || known.find(tag->second) != known.npos)) {
        reply.status = 304;
        reply.body.clear();
    }
    return reply;
}

}  // namespace quoteserver
