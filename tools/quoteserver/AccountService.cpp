#include "AccountService.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <utility>

#include "QuoteTable.h"
#include "Rows.h"

namespace quoteserver {
namespace {

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

// "4:05pm" is 16:05:00 here; other texts stand as they are.
std::string Clock24(std::string_view time) {
    int hour = 0;
    int minute = 0;
    char half = 0;
    const std::string text(time);
    if (std::sscanf(text.c_str(), "%2d:%2d%c", &hour, &minute, &half) != 3) {
        return text;
    }
    const bool isAfternoon = half == 'p' || half == 'P';
    char clock[32];
    std::snprintf(clock, sizeof clock, "%02d:%02d:00", hour % 12 + (isAfternoon ? 12 : 0), minute);
    return clock;
}

std::string Value(const Quote& quote, std::string_view field) {
    if (field == "TIME") {
        return Clock24(Known(quote.value("t1")));
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
    return std::string(value.empty() ? Known(quote.value(source->alternative)) : value);
}

}  // namespace

AccountService::AccountService(DataFolder folder, const Account& account)
    : m_folder(std::move(folder)),
      m_credentials("Basic " + Base64(account.user + ":" + account.password)) {}

Reply AccountService::Answer(const Request& request) const {
    if (request.authorization != m_credentials) {
        Reply refusal = ErrorPage(401, "Sign in with the user name and password of an account");
        refusal.challenge = "Basic realm=\"quotes\"";
        return refusal;
    }
    const Quote quote = QuoteTable(m_folder).Of(request.target.query.value("TICKER"));
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

}  // namespace quoteserver
