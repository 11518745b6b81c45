// What stands now: quotes of many tickers, the quote of an account's ticker, option tables.
#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "QuoteTable.h"
#include "Services.h"
#include "text/Ascii.h"

namespace quoteserver {
namespace {

using vtdl::text::IsDigit;

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

// Clients of these services split lines at every comma, quoted or not.
std::string WithoutCommas(std::string_view text) {
    std::string plain(text);
    std::erase(plain, ',');
    return plain;
}

void AppendText(std::string& out, std::string_view text) {
    out += '"';
    for (const char c : WithoutCommas(text)) {
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

std::string Base64(std::string_view bytes) {
    static constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::string_view three = bytes.substr(i, 3);
        std::uint32_t bits = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            bits = bits << 8 | (k < three.size() ? static_cast<unsigned char>(three[k]) : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            text += k <= three.size() ? alphabet[bits >> (18 - 6 * k) & 63U] : '=';
        }
    }
    return text;
}

struct FieldSource {
    std::string_view field;
    std::string_view letters;      // of the quote table
    std::string_view alternative;  // where the first is not known
};

constexpr std::array fieldSources = {
    FieldSource{"TICK", "s", {}},     FieldSource{"LAST", "l1", {}},
    FieldSource{"NET", "c1", {}},     FieldSource{"SIZE", "k3", {}},
    FieldSource{"VOLUME", "v", {}},   FieldSource{"OPEN", "o", {}},
    FieldSource{"HIGH", "h", {}},     FieldSource{"LOW", "g", {}},
    FieldSource{"CLOSE", "p", {}},    FieldSource{"BID", "b3", "b"},
    FieldSource{"ASK", "b2", "a"},    FieldSource{"EXCHANGE", "x", {}},
    FieldSource{"NAME", "n", {}},     FieldSource{"YRHIGH", "k", {}},
    FieldSource{"YRLOW", "j", {}},    FieldSource{"DIVIDEND", "d", {}},
    FieldSource{"EARNINGS", "e", {}}, FieldSource{"SHARES", "j2", {}},
    FieldSource{"PERATIO", "r", {}},  FieldSource{"DIVDATE", "r1", {}},
    FieldSource{"YIELD", "y", {}},
};

std::string_view Known(std::string_view value) { return value == "N/A" ? "" : value; }

std::string Value(const Quote& quote, std::string_view field) {
    if (field == "TIME") {
        const std::string_view time = Known(quote.value("t1"));
        const std::string clock = ClockOf(time);
        return clock.empty() ? std::string(time) : clock;
    }
    if (field == "BIDASKSIZE") {
        const std::string bid(Known(quote.value("b6")));
        const std::string ask(Known(quote.value("a5")));
        return bid.empty() && ask.empty() ? "" : bid + "x" + ask;
    }
    const auto source = std::ranges::find(fieldSources, field, &FieldSource::field);
    if (source == fieldSources.end()) {
        return {};
    }
    const std::string_view value = Known(quote.value(source->letters));
    return IsText(source->letters)
               ? WithoutCommas(value)
               : std::string(value.empty() ? Known(quote.value(source->alternative)) : value);
}

}  // namespace

Reply AnswerQuotes(const DataFolder& folder, const Query& query) {
    const std::vector<std::string> fields = Fields(query.value("f"));
    const std::vector<std::string> tickers = Tickers(query.value("s"));
    if (fields.empty() || tickers.empty()) {
        throw BadQuery(fields.empty() ? "f= asks for nothing" : "s= names no ticker");
    }
    const QuoteTable quotes(folder);
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

Reply AnswerAccount(const DataFolder& folder, const Account& account, const Request& request) {
    if (request.authorization != "Basic " + Base64(account.user + ":" + account.password)) {
        Reply refusal = ErrorPage(401, "Sign in with the user name and password of an account");
        refusal.headers = {{"WWW-Authenticate", "Basic realm=\"quotes\""}};
        return refusal;
    }
    const Quote quote = QuoteTable(folder).Of(request.target.query.value("TICKER"));
    if (!quote.IsKnown()) {
        return {200, "text/plain", "Invalid symbol\n"};
    }
    std::string_view fields = request.target.query.value("FIELDS");
    std::string line;
    while (!fields.empty()) {
        line += Value(quote, TakeField(fields, ',')) + ",";
    }
    if (line.empty()) {
        throw BadQuery("FIELDS= asks for nothing");
    }
    line.back() = '\n';
    return {200, "text/plain", std::move(line)};
}

Reply AnswerOptions(const DataFolder& folder, const Query& form) {
    const std::string_view ticker = form.valueOfKeyEnding("txtTicker");
    if (std::optional<DataFile> file = folder.Options(ticker)) {
        return {200, "application/x-unknown", std::move(file->text)};
    }
    return {200, "text/html",
            "<!DOCTYPE html>\n<html><head><title>Quote Table Download</title></head>\n"
            "<body><p>The symbol you entered could not be found. Please enter another one.</p>"
            "</body></html>\n"};
}

}  // namespace quoteserver
