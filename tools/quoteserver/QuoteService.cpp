#include "QuoteService.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "QuoteTable.h"

namespace quoteserver {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// "sl1d1" are s, l1 and d1.
std::vector<std::string> Fields(std::string_view format) {
    std::vector<std::string> fields;
    for (const char c : format) {
        if (IsDigit(c) && !fields.empty() && fields.back().size() == 1) {
            fields.back() += c;
        } else {
            fields.emplace_back(1, c);
        }
    }
    return fields;
}

std::vector<std::string> Tickers(std::string_view text) {
    std::vector<std::string> tickers(1);
    for (const char c : text) {
        if (c == ' ' || c == ',') {
            tickers.emplace_back();
        } else {
            tickers.back() += c;
        }
    }
    std::erase(tickers, "");
    return tickers;
}

// Symbol, names, dates, times, percentages and ranges; links and notes come with no data here.
bool IsText(std::string_view field) {
    static constexpr std::array<std::string_view, 13> texts = {
        "s", "n", "x", "c4", "d1", "d2", "t1", "p2", "w", "m", "q", "r1", "k2"};
    return std::ranges::find(texts, field) != texts.end();
}

void AppendText(std::string& out, std::string_view text) {
    out += '"';
    for (const char c : text) {
        out.append(c == '"' ? 2 : 1, c);
    }
    out += '"';
}

void AppendValue(std::string& line, const Quote& quote, const std::string& ticker,
                 std::string_view field) {
    const bool isEcho = field == "s" && !quote.IsKnown();
    const std::string_view value = isEcho ? ticker : quote.value(field);
    if (isEcho || (IsText(field) && value != "N/A")) {
        AppendText(line, value);
    } else {
        line += value;
    }
}

}  // namespace

QuoteService::QuoteService(DataFolder folder) : m_folder(std::move(folder)) {}

Reply QuoteService::Answer(const Query& query) const {
    const std::vector<std::string> fields = Fields(query.value("f"));
    const std::vector<std::string> tickers = Tickers(query.value("s"));
    if (fields.empty() || tickers.empty()) {
        throw BadQuery(fields.empty() ? "f= asks for nothing" : "s= names no ticker");
    }
    const QuoteTable quotes(m_folder);
    std::string body;
    for (const std::string& ticker : tickers) {
        const Quote quote = quotes.Of(ticker);
        for (const std::string& field : fields) {
            AppendValue(body, quote, ticker, field);
            body += ',';
        }
        body.back() = '\n';
    }
    return {200, "text/csv", std::move(body)};
}

}  // namespace quoteserver
