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
:root { color-scheme: light dark; --ink: #1c2733; --paper: #fff; --faint: #5c6772; --line: #dfe4ea;
  --good: #17743b; --bad: #b3261e; --close: #1f5fa8; --adjusted: #8f5b00; }
@media (prefers-color-scheme: dark) { :root { --ink: #dde3ea; --paper: #14181d; --faint: #93a0ad;
  --line: #2f3843; --good: #62c58a; --bad: #ff8a80; --close: #7ab3f0; --adjusted: #e5a84b; } }
body { font: 15px/1.45 system-ui, sans-serif; color: var(--ink); background: var(--paper);
  max-width: 66rem; margin: 2rem auto; padding: 0 1rem; overflow-wrap: anywhere; }
h1 { font-size: 1.5rem; } h2 { font-size: 1.1rem; margin-top: 2rem; } a { color: var(--close); }
table { border-collapse: collapse; width: 100%; }
th, td { text-align: left; vertical-align: top; padding: .35rem 1rem .35rem 0;
  border-bottom: 1px solid var(--line); font-weight: inherit; } small { display: block; }
thead, small, .none, .axis { color: var(--faint); } .good { color: var(--good); }
.bad { color: var(--bad); } .close { color: var(--close); } .adjusted { color: var(--adjusted); }
@media (max-width: 55rem) { thead { position: absolute; clip-path: inset(50%); }
  tr { display: block; border-bottom: 1px solid var(--line); padding: .5rem 0; }
  tbody th { font-weight: bold; } th, td { display: block; border: 0; padding: 0; }
  td { display: inline-block; margin-right: 1rem; } td:empty { display: none; } td::before { content: attr(data-of) ": "; color: var(--faint); } }
figure { display: grid; grid-template-columns: auto 1fr; gap: .3rem .6rem; margin: 0; }
figcaption, .days { grid-column: 2; } .axis { display: flex; justify-content: space-between; }
.prices { flex-direction: column; text-align: right; font-size: .85rem; margin: -.6em 0; }
svg { width: 100%; height: 16rem; overflow: visible; }
path { fill: none; stroke: var(--line); stroke-width: 1.5; vector-effect: non-scaling-stroke; }
path.close { stroke: var(--close); } path.adjusted { stroke: var(--adjusted);
  stroke-dasharray: 5 3; } path.close, path.adjusted { stroke-linecap: round; }
</style></head><body><h1>Quote server</h1><main>
)";

std::string Number(double value, int decimals) {
    char text[400];  // the largest double, too
    const auto [end, error] =
        std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals);
    return {text, end};
}

std::string Text(const Json& value) {
    return Escaped(value.is_string() ? value.get<std::string>() : JsonText(value));
}

std::string Marked(const std::string& look, const std::string& html) {
    return "<span class=\"" + look + "\">" + html + "</span>";
}

std::string Part(const std::string& title, const std::string& html) {
    return "<section aria-label=\"" + title + "\"><h2>" + title + "</h2>\n" + html + "</section>\n";
}

// The cells are HTML; the first one of a row says what the others are of.
std::string Table(const std::vector<std::string>& titles,
                  const std::vector<std::vector<std::string>>& rows) {
    if (rows.empty()) {
        return Marked("none", "None so far.");
    }
    std::string html = "<table><thead><tr>";
    for (const std::string& title : titles) {
        html.append("<th scope=\"col\">").append(title).append("</th>");
    }
    html += "</tr></thead><tbody>";
    for (const std::vector<std::string>& row : rows) {
        html.append("\n<tr><th scope=\"row\">").append(row[0]).append("</th>");
        for (std::size_t i = 1; i < row.size(); ++i) {
            html.append("<td data-of=\"").append(titles[i]).append("\">").append(row[i]);
            html.append("</td>");
        }
        html += "</tr>";
    }
    return html + "</tbody></table>\n";
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
             Text(feed.at("requests")), Text(feed.at("pace")), Text(feed.at("next")),
             feed.at("shared") == true ? "yes" : "no",
             isLink ? open + (terms.empty() ? Escaped(url) : terms) + "</a>" : terms});
    }
    return Table({"Feed", "Last answer", "Requests", "Pace", "Not before", "Shared", "Terms"},
                 rows);
}

std::string LineUps(const Json& lineUps) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& [kind, feeds] : lineUps.items()) {
        std::string names;
        for (const Json& feed : feeds) {
            names.append(names.empty() ? "" : ", then ").append(Text(feed));
        }
        rows.push_back({Escaped(kind), names});
    }
    return Table({"What", "Asked"}, rows);
}

std::string Copies(const Json& copies) {
    std::vector<std::vector<std::string>> rows;
    for (const Json& copy : copies) {
        const std::string ticker = copy.at("ticker"), name = Escaped(ticker);
        const std::string open =
            "<a href=\"?ticker=" + vtdl::text::UrlEncode(ticker, false) + "\">";
        const std::string asked = Text(copy.at("asked"));
        const std::string first =
            Text(copy.at("first")) +
            (asked.empty() ? "" : "<small>asked from " + asked + ": an older share's?</small>");
        rows.push_back({copy.at("kind") == "history" ? open + name + "</a>" : name,
                        Text(copy.at("kind")), Text(copy.at("feed")), Text(copy.at("symbol")),
                        Text(copy.at("fetched")), first,
                        copy.at("fresh") == true ? Marked("good", "yes") : Marked("bad", "no"),
                        Text(copy.at("dropped"))});
    }
    return Table({"Ticker", "What", "From", "As", "Fetched", "First day", "Fresh", "Rows left out"},
                 rows);
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
    std::string first, last, prices;
    AppendDate(first, rows.back().date, DateForm::Iso);
    AppendDate(last, rows.front().date, DateForm::Iso);
    std::string paths = "<path d=\"M0 0H900M0 100H900M0 200H900\"/>";
    for (const int line : {1, 0}) {
        paths += line == 0 ? "<path class=\"close\" d=\"" : "<path class=\"adjusted\" d=\"";
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const auto day = static_cast<double>((rows[i].date - rows.back().date).count());
            const double part = high > low ? (values[line][i] - low) / (high - low) : 0.5;
            paths.append(i == 0 ? "M" : "L").append(Number(day / days * 900, 1));
            paths.append(" ").append(Number(200 - part * 200, 1));
        }
        paths += "h0\"/>";  // a dot where there is one day
    }
    for (const double price : {high, (low + high) / 2, low}) {
        prices += "<span>" + Number(price, 2) + "</span>";
    }
    return "<figure><figcaption><span class=\"close\">\u2501 close, as traded</span> "
           "<span class=\"adjusted\">\u2505 adjusted</span></figcaption><div class=\"axis "
           "prices\">" +
           prices +
           "</div><svg viewBox=\"0 0 900 200\" preserveAspectRatio=\"none\" "
           "role=\"img\"><title>Closes of " +
           Escaped(ticker) + " from " + first + " to " + last + ", between " + Number(low, 2) +
           " and " + Number(high, 2) + "; the last is " + Number(values[0][0], 2) + "</title>" +
           paths + "</svg><div class=\"axis days\"><span>" + first + "</span><span>" + last +
           "</span></div></figure>\n";
}

}  // namespace

Reply StatusPage(const std::string& status, const DataFolder& folder, std::string_view ticker) {
    const Json all = JsonOf(status);
    std::string html(head), failures;
    if (!ticker.empty()) {
        html += Part(Escaped(ticker), Chart(folder, ticker));
    }
    for (const Json& failure : all.at("failures")) {
        failures += "<li>" + Text(failure) + "</li>\n";
    }
    html += Part("Feeds", Feeds(all.at("feeds"))) + Part("Line-ups", LineUps(all.at("lineUps"))) +
            Part("Copies", Copies(all.at("copies"))) +
            Part("Last failures, the newest first",
                 failures.empty() ? Marked("none", "None so far.") : "<ul>" + failures + "</ul>") +
            "</main></body></html>\n";
    const char* policy = "default-src 'none'; style-src 'unsafe-inline'";
    return {200, "text/html; charset=utf-8", html, {{"Content-Security-Policy", policy}}};
}

}  // namespace quoteserver::living
