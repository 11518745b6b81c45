#include "living/StatusPage.h"

#include <algorithm>
#include <charconv>
#include <vector>

#include "Rows.h"
#include "living/Json.h"
#include "text/UrlEncode.h"

namespace quoteserver::living {
namespace {

constexpr std::string_view head = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>Quote server</title>
<meta name="viewport" content="width=device-width">
<style>
:root { color-scheme: light dark; --ink: #1c2733; --paper: #fff; --faint: #68737f; --line: #dfe4ea;
  --good: #17743b; --bad: #b3261e; --close: #1f5fa8; --adjusted: #b06f00; }
@media (prefers-color-scheme: dark) { :root { --ink: #dde3ea; --paper: #14181d; --faint: #93a0ad;
  --line: #2f3843; --good: #62c58a; --bad: #ff8a80; --close: #7ab3f0; --adjusted: #e5a84b; } }
body { font: 15px/1.45 system-ui, sans-serif; color: var(--ink); background: var(--paper);
  max-width: 66rem; margin: 2rem auto; padding: 0 1rem; }
h1 { font-size: 1.5rem; } h2 { font-size: 1.1rem; margin-top: 2rem; } div { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; } th, time { white-space: nowrap; }
th, td { text-align: left; vertical-align: top; padding: .35rem 1rem .35rem 0;
  border-bottom: 1px solid var(--line); } small { display: block; } a { color: var(--close); }
th, small, .none { color: var(--faint); } .good { color: var(--good); } .bad { color: var(--bad); }
svg { width: 100%; height: auto; font-size: 13px; fill: var(--faint); }
path { fill: none; stroke: var(--line); stroke-width: 1.5; stroke-linecap: round; }
path.close { stroke: var(--close); } path.adjusted { stroke: var(--adjusted); }
text.close { fill: var(--close); } text.adjusted { fill: var(--adjusted); }
</style></head><body><h1>Quote server</h1>
)";

std::string Number(double value, int decimals) {
    char text[400];  // the largest double, too
    const auto [end, error] =
        std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals);
    return {text, end};
}

std::string Text(const Json& value) {
    return Escaped(value.is_string() ? value.get<std::string>() : value.dump());
}

std::string Marked(const std::string& look, const std::string& html) {
    return "<span class=\"" + look + "\">" + html + "</span>";
}

// The cells are HTML.
std::string Table(std::initializer_list<const char*> titles,
                  const std::vector<std::vector<std::string>>& rows) {
    if (rows.empty()) {
        return Marked("none", "None so far.");
    }
    std::string html = "<div><table><tr>";
    for (const char* title : titles) {
        html.append("<th>").append(title).append("</th>");
    }
    for (const std::vector<std::string>& row : rows) {
        html += "</tr>\n<tr>";
        for (const std::string& cell : row) {
            html.append("<td>").append(cell).append("</td>");
        }
    }
    return html + "</tr></table></div>\n";
}

std::string Feeds(const Json& feeds) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& [name, feed] : feeds.items()) {
        const std::string state = feed.at("state"), url = feed.at("terms");
        const bool isGood = state == "rows" || state == "no rows" || state == "unknown";
        const bool isLink = url.starts_with("https://") || url.starts_with("http://");
        const std::string look = feed.at("requests") == 0 ? "none" : isGood ? "good" : "bad";
        const std::string terms = Text(feed.at("termsSay"));
        const std::string open = "<a rel=\"noreferrer\" href=\"" + Escaped(url) + "\">";
        rows.push_back(
            {Escaped(name),
             Marked(look, Escaped(state)) + "<small>" + Text(feed.at("why")) + "</small>",
             Text(feed.at("requests")), "<time>" + Text(feed.at("next")) + "</time>",
             feed.at("shared") == true ? "yes" : "no",
             isLink ? open + (terms.empty() ? Escaped(url) : terms) + "</a>" : terms});
    }
    return Table({"Feed", "Last answer", "Requests", "Next not before", "Shared", "Terms"}, rows);
}

std::string Copies(const Json& copies) {
    std::vector<std::vector<std::string>> rows;
    for (const Json& copy : copies) {
        const std::string ticker = copy.at("ticker"), name = Escaped(ticker);
        const std::string open =
            "<a href=\"?ticker=" + vtdl::text::UrlEncode(ticker, false) + "\">";
        rows.push_back({copy.at("kind") == "history" ? open + name + "</a>" : name,
                        Text(copy.at("kind")), Text(copy.at("feed")), Text(copy.at("symbol")),
                        "<time>" + Text(copy.at("fetched")) + "</time>",
                        copy.at("fresh") == true ? Marked("good", "yes") : Marked("bad", "no"),
                        Text(copy.at("dropped"))});
    }
    return Table({"Ticker", "What", "From", "As", "Fetched", "Fresh", "Rows left out"}, rows);
}

// Two lines: closes as traded, and what dividends and splits leave of them.
std::string Chart(const DataFolder& folder, std::string_view ticker) {
    std::optional<DataFile> file = IsTicker(ticker) ? folder.Prices(ticker) : std::nullopt;
    const std::vector<Row> rows = file ? ReadRows(*file, priceLayout) : std::vector<Row>{};
    if (rows.empty()) {
        return Marked("none", "There are no prices of " + Escaped(ticker) + ".");
    }
    std::vector<double> values[2];
    for (const Row& row : rows) {
        std::string_view rest = row.values;
        for (int column = 0; column < 6; ++column) {
            const std::string_view field = TakeField(rest, ',');
            if (column == 3 || column == 5) {
                std::from_chars(field.data(), field.data() + field.size(),
                                values[column / 4].emplace_back());
            }
        }
    }
    const double low = std::min(std::ranges::min(values[0]), std::ranges::min(values[1]));
    const double high = std::max(std::ranges::max(values[0]), std::ranges::max(values[1]));
    const auto days = std::max(1.0, static_cast<double>((rows[0].date - rows.back().date).count()));
    const auto y = [&](double value) {
        return Number(270 - (high > low ? (value - low) / (high - low) : 0.5) * 230, 1);
    };
    std::string svg = "<svg viewBox=\"0 0 960 300\" role=\"img\">";
    for (const double value : {low, (low + high) / 2, high}) {
        svg += "<path d=\"M80 " + y(value) + "H950\"/><text text-anchor=\"end\" x=\"70\" y=\"" +
               y(value) + "\" dy=\"4\">" + Number(value, 2) + "</text>";
    }
    for (const int line : {1, 0}) {
        svg += line == 0 ? "<path class=\"close\" d=\"" : "<path class=\"adjusted\" d=\"";
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const auto day = static_cast<double>((rows[i].date - rows.back().date).count());
            svg.append(i == 0 ? "M" : "L").append(Number(80 + day / days * 870, 1));
            svg.append(" ").append(y(values[line][i]));
        }
        svg += "h0\"/>";  // a dot where there is one day
    }
    std::string first, last;
    AppendDate(first, rows.back().date, DateForm::Iso);
    AppendDate(last, rows.front().date, DateForm::Iso);
    return svg + "<text x=\"80\" y=\"20\" class=\"close\">close, as traded</text>" +
           "<text x=\"210\" y=\"20\" class=\"adjusted\">adjusted</text><text x=\"80\" y=\"292\">" +
           first + "</text><text text-anchor=\"end\" x=\"950\" y=\"292\">" + last +
           "</text></svg>\n";
}

}  // namespace

Reply StatusPage(const std::string& status, const DataFolder& folder, std::string_view ticker) {
    const Json all = Json::parse(status);
    std::string html(head);
    if (!ticker.empty()) {
        html += "<h2>" + Escaped(ticker) + "</h2>\n" + Chart(folder, ticker);
    }
    std::vector<std::vector<std::string>> failures;
    for (const Json& failure : all.at("failures")) {
        failures.push_back({Text(failure)});
    }
    html += "<h2>Feeds</h2>\n" + Feeds(all.at("feeds")) + "<h2>Copies</h2>\n" +
            Copies(all.at("copies")) + "<h2>Last failures</h2>\n" +
            Table({"The newest first"}, failures) + "</body></html>\n";
    const char* policy = "default-src 'none'; style-src 'unsafe-inline'";
    return {200, "text/html; charset=utf-8", html, {{"Content-Security-Policy", policy}}};
}

}  // namespace quoteserver::living
