// The histories of one ticker: tables of prices and dividends, prices in one piece, futures.
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iostream>
#include <optional>
#include <span>

#include "Periods.h"
#include "Services.h"

namespace quoteserver {
namespace {

std::string Told(std::string_view key, std::string_view value) {
    return std::string(key).append("=").append(value);
}

int Number(const Query& query, std::string_view key) {
    const std::string_view text = query.value(key);
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) {
        throw BadQuery(Told(key, text) + " is not a number");
    }
    return value;
}

// A date of which only a part is given is a mistake of the client, not an open end.
std::optional<Date> BoundOfThreeKeys(const Query& query, const char (&keys)[4]) {
    const std::string_view month(keys, 1), day(keys + 1, 1), year(keys + 2, 1);
    if (query.value(month).empty() && query.value(day).empty() && query.value(year).empty()) {
        return std::nullopt;
    }
    const std::optional<Date> date =
        ExistingDate(Number(query, year), Number(query, month) + 1, Number(query, day));
    if (!date) {
        throw BadQuery(std::string(keys) + " (month from 0, day, year) is not a date");
    }
    return date;
}

std::optional<Date> Bound(const Query& query, std::string_view key,
                          std::optional<Date> (&parse)(std::string_view), const char* example) {
    const std::string_view text = query.value(key);
    if (text.empty()) {
        return std::nullopt;
    }
    const std::optional<Date> date = parse(text);
    if (!date) {
        throw BadQuery(Told(key, text) + " is not a date of the form " + example);
    }
    return date;
}

Reply NoData(std::string_view ticker, std::string_view range = {}) {
    return ErrorPage(404, std::string("There is no data for ").append(ticker).append(range));
}

// Nothing, not even the header, when there are no rows.
template <typename Rows>
std::string Page(const Layout& layout, const TableOptions& options, const Rows& rows) {
    std::string text;
    if (rows.empty()) {
        return text;
    }
    text.append(layout.header).append(1, '\n');
    const std::size_t limit = options.rowsPerPage == 0 ? rows.size() : options.rowsPerPage;
    for (const auto& row : std::span(rows).first(std::min(limit, rows.size()))) {
        AppendDate(text, row.date, options.dates);
        text.append(1, ',').append(row.values).append(1, '\n');
    }
    return text;
}

// Dividends come in one piece: a client that gets a full page of 200 asks for it again for ever.
TableOptions DividendPage(TableOptions options, std::size_t rows) {
    constexpr std::size_t fullPage = 200;
    options.rowsPerPage = 0;
    if (rows == fullPage) {
        std::cerr << "quoteserver: of 200 dividends the oldest is left out\n";
        options.rowsPerPage = fullPage - 1;
    }
    return options;
}

// The values were checked when the file was read.
double NumberOf(std::string_view text) {
    double value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

void AppendRounded(std::string& out, double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    out += text;
}

// "000" is how the files write that a volume is not known.
std::string_view Volume(std::string_view text) {
    while (text.size() > 1 && text.starts_with('0')) {
        text.remove_prefix(1);
    }
    return text;
}

// That service's prices were divided by all later splits.
class LaterSplits {
public:
    explicit LaterSplits(std::optional<DataFile> file) : m_file(std::move(file)) {
        if (m_file) {
            m_rows = ReadRows(*m_file, splitLayout);
        }
    }

    // From the newest day to the oldest.
    double On(Date day) {
        for (; m_next < m_rows.size() && m_rows[m_next].date > day; ++m_next) {
            m_shares *= NumberOf(m_rows[m_next].values);
        }
        return m_shares;
    }

private:
    std::optional<DataFile> m_file;
    std::vector<Row> m_rows;
    std::size_t m_next = 0;
    double m_shares = 1;
};

template <typename Rows>
void AppendRows(std::string& out, const Rows& rows, LaterSplits splits) {
    for (const auto& row : rows) {
        AppendDate(out, row.date, DateForm::DayMonYy);
        const double shares = splits.On(row.date);
        std::string_view values = row.values;
        for (int i = 0; i < 4; ++i) {
            out += ',';
            AppendRounded(out, NumberOf(TakeField(values, ',')) / shares, 2);
        }
        out += ',';
        const std::string_view volume = Volume(TakeField(values, ','));
        if (shares == 1) {
            out += volume;
        } else {
            AppendRounded(out, NumberOf(volume) * shares, 0);
        }
        out += '\n';
    }
}

void AppendWithTabs(std::string& out, std::string_view line) {
    std::ranges::replace_copy(line, std::back_inserter(out), ',', '\t');
}

}  // namespace

Reply AnswerTable(const DataFolder& folder, const TableOptions& options, const Query& query) {
    const std::string_view ticker = query.value("s");
    if (!IsTicker(ticker)) {
        throw BadQuery(Told("s", ticker) + " is not a ticker");
    }
    const std::string_view kind = query.value("g");
    if (kind.size() > 1 || std::string_view("dwmv").find(kind) == std::string_view::npos) {
        throw BadQuery(Told("g", kind) + " is none of d, w, m and v");
    }
    const DateRange range{BoundOfThreeKeys(query, "abc"), BoundOfThreeKeys(query, "def")};
    const bool isOfDividends = kind == "v";
    const Layout& layout = isOfDividends ? dividendLayout : priceLayout;
    std::optional<DataFile> file = isOfDividends ? folder.Dividends(ticker) : folder.Prices(ticker);
    if (!file) {
        return NoData(ticker);
    }
    const std::vector<Row> all = ReadRows(*file, layout);
    const std::span<const Row> rows = InRange(all, range);
    std::string body = isOfDividends ? Page(layout, DividendPage(options, rows.size()), rows)
                       : kind == "w" ? Page(layout, options, Summarise(rows, Period::Week))
                       : kind == "m" ? Page(layout, options, Summarise(rows, Period::Month))
                                     : Page(layout, options, rows);
    if (body.empty()) {
        return NoData(ticker, " in this range");
    }
    if (!options.commentServer.empty()) {
        using namespace std::chrono;
        body += CommentLine(options.commentServer, floor<seconds>(system_clock::now()));
    }
    return {200, "text/csv", std::move(body)};
}

std::string CommentLine(const std::string& server, std::chrono::sys_seconds time) {
    return "<!-- " + server + " uncompressed/chunked " + ClockText(time) + " -->\n";
}

Reply AnswerHistory(const DataFolder& folder, const Query& query) {
    std::string_view ticker = query.value("q");
    ticker.remove_prefix(ticker.find(':') + 1);  // nothing when there is no colon
    const std::string_view period = query.value("histperiod");
    if (!period.empty() && period != "DAILY" && period != "WEEKLY") {
        throw BadQuery(Told("histperiod", period) + " is neither DAILY nor WEEKLY");
    }
    constexpr const char* form = "Jan 9, 2004";
    const DateRange range{Bound(query, "startdate", ParseEnglishDate, form),
                          Bound(query, "enddate", ParseEnglishDate, form)};
    std::optional<DataFile> file = folder.Prices(ticker);
    if (!file) {
        return NoData(ticker);
    }
    const std::vector<Row> all = ReadRows(*file, priceLayout);
    const std::span<const Row> rows = InRange(all, range);
    std::string body =
        "\xEF\xBB\xBF"
        "Date,Open,High,Low,Close,Volume\n";
    if (period == "WEEKLY") {
        AppendRows(body, Summarise(rows, Period::Week), LaterSplits(folder.Splits(ticker)));
    } else {
        AppendRows(body, rows, LaterSplits(folder.Splits(ticker)));
    }
    return {200, "text/csv", std::move(body)};
}

std::optional<Date> FirstDayAsked(const Target& target) {
    try {
        return target.path == "/table.csv" ? BoundOfThreeKeys(target.query, "abc")
               : target.path == "/finance/historical"
                   ? Bound(target.query, "startdate", ParseEnglishDate, "")
                   : Bound(target.query, "sd", ParseIsoDate, "");
    } catch (const BadQuery&) {
        return std::nullopt;
    }
}

Reply AnswerFutures(const DataFolder& folder, const Query& query) {
    constexpr const char* form = "2004-01-09";
    const DateRange range{Bound(query, "sd", ParseIsoDate, form),
                          Bound(query, "ed", ParseIsoDate, form)};
    const std::string_view ticker = query.value("tid");
    std::optional<DataFile> file = folder.Futures(ticker);
    if (!file) {
        return NoData(ticker);
    }
    const std::vector<Row> all = ReadRows(*file, futuresLayout);
    std::string body;
    AppendWithTabs(body, futuresLayout.header);
    body += "\r\n";
    const auto rows = InRange(all, range);
    for (auto row = rows.rbegin(); row != rows.rend(); ++row) {
        AppendDate(body, row->date, DateForm::Iso);
        body += '\t';
        AppendWithTabs(body, row->values);
        const auto commas = static_cast<std::size_t>(std::ranges::count(row->values, ','));
        for (std::size_t count = commas + 1; count < futuresLayout.valueCount; ++count) {
            body += "\t0";
        }
        body += "\r\n";
    }
    return {200, "text/plain", std::move(body)};
}

}  // namespace quoteserver
