#include "living/ReplyValues.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <map>
#include <optional>
#include <tuple>

#include "QuoteTable.h"
#include "living/Chain.h"
#include "living/Numbers.h"

namespace quoteserver::living {
namespace {

using namespace std::chrono;

constexpr double latestTime = 253402300800.0;  // the year 10000, in seconds

}  // namespace

double ReplyValues::Number(std::string_view text) const {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || !std::isfinite(value)) {
        throw Nonsense("\"" + std::string(text.substr(0, 40)) + "\" is not a number");
    }
    return recipe.isFloat32 ? FromFloat32(value) : value;
}

double ReplyValues::Number(const Json* value) const {
    if (!value || value->is_null()) {
        return unknown;
    }
    if (value->is_string()) {
        return Number(std::string_view(value->get_ref<const std::string&>()));
    }
    if (!value->is_number()) {
        throw Nonsense("a number is " + std::string(value->type_name()));
    }
    const double number = value->get<double>();
    return recipe.isFloat32 && value->is_number_float() ? FromFloat32(number) : number;
}

// A bar of a currency or a future may begin at local midnight, and the offset is today's: without
// three hours more, half the year the day would be the one before.
Date ReplyValues::Day(double epoch) const {
    const double time = recipe.dates == Recipe::Dates::Milliseconds ? epoch / 1000 : epoch;
    if (!(std::abs(time) < latestTime)) {
        throw Nonsense("a time that is none");
    }
    return floor<days>(sys_seconds(seconds(static_cast<long long>(time))) + offset + 3h);
}

Date ReplyValues::Day(const Json& value) const {
    if (value.is_number()) {
        return Day(value.get<double>());
    }
    if (!value.is_string()) {
        throw Nonsense("a date is " + std::string(value.type_name()));
    }
    return Day(std::string_view(value.get_ref<const std::string&>()));
}

Date ReplyValues::Day(std::string_view text) const {
    const auto number = [&](std::size_t from, std::size_t length) {
        int value = -1;
        if (from + length <= text.size()) {
            std::from_chars(text.data() + from, text.data() + from + length, value);
        }
        return value;
    };
    std::optional<Date> day;
    switch (recipe.dates) {
        case Recipe::Dates::Iso:  // a time may follow
            day = ParseIsoDate(text.substr(0, 10));
            break;
        case Recipe::Dates::Compact:
            day = ExistingDate(number(0, 4), number(4, 2), number(6, 2));
            break;
        case Recipe::Dates::American: {
            const std::size_t month = text.find('/'), date = text.find('/', month + 1);
            day = date == std::string_view::npos
                      ? std::nullopt
                      : ExistingDate(number(date + 1, 4), number(0, month),
                                     number(month + 1, date - month - 1));
            break;
        }
        case Recipe::Dates::Seconds:
        case Recipe::Dates::Milliseconds:
            return Day(Number(text));
    }
    if (!day) {
        throw Nonsense("\"" + std::string(text.substr(0, 40)) + "\" is not a date");
    }
    return *day;
}

// "2026-08-07 18:58:23.5", with a blank or a T in between. Of another zone it would be hours off.
sys_seconds ReplyValues::Time(const Json* value, bool isUtc) const {
    const std::string text = value && value->is_string() ? value->get<std::string>() : "";
    const std::optional<Date> day = ParseIsoDate(std::string_view(text).substr(0, 10));
    int hour = -1, minute = -1;
    if (text.size() >= 16) {
        std::from_chars(text.data() + 11, text.data() + 13, hour);
        std::from_chars(text.data() + 14, text.data() + 16, minute);
    }
    std::string_view zone = std::string_view(text).substr(std::min<std::size_t>(text.size(), 16));
    zone.remove_prefix(std::min(zone.find_first_not_of(":. 0123456789"), zone.size()));
    const bool isOwnZone =
        zone.empty() ||
        (isUtc && (zone == "Z" || zone == "+00" || zone == "+0000" || zone == "+00:00"));
    if (!day || hour < 0 || hour > 23 || minute < 0 || minute > 59 || !isOwnZone) {
        throw Nonsense("\"" + PrintableText(text) + "\" is not a time");
    }
    return *day + hours(hour) + minutes(minute);
}

// The members of a list, or of an object whose names do not matter.
std::vector<const Json*> ReplyValues::Rows(const Json& list) const {
    std::vector<const Json*> rows;
    if (!list.is_array() && !list.is_object()) {
        throw Nonsense("a list of rows is " + std::string(list.type_name()));
    }
    rows.reserve(list.size());
    for (const Json& row : list) {
        rows.push_back(&row);
    }
    return rows;
}

std::string ReadQuote(const ReplyValues& values, const Ask& ask, const Json& root) {
    std::map<std::string, std::string> cells{{"s", ask.ticker}};
    std::map<std::string, double> numbers;
    for (const auto& [letters, place] : values.recipe.quote) {
        const Json* value = At(root, place);
        if (!value || value->is_null()) {
            continue;
        }
        if (value->is_string()) {
            std::string text = PrintableText(value->get<std::string>());
            std::erase_if(text, [](char c) { return c == ',' || c == '"'; });
            cells[letters] = text;
            continue;
        }
        const double number = values.Number(value);
        if (letters != "time") {
            numbers[letters] = number;
            cells[letters] = DecimalText(number);
            continue;
        }
        if (!(std::abs(number) < latestTime)) {
            throw Nonsense("a time that is none");
        }
        const sys_seconds time =
            sys_seconds(seconds(static_cast<long long>(number))) + values.offset;
        const year_month_day day{floor<days>(time)};
        const hh_mm_ss clock{time - floor<days>(time)};
        const int hour = static_cast<int>(clock.hours().count());
        char text[64];
        std::snprintf(text, sizeof text, "%u/%u/%d", static_cast<unsigned>(day.month()),
                      static_cast<unsigned>(day.day()), static_cast<int>(day.year()));
        cells["d1"] = text;
        std::snprintf(text, sizeof text, "%d:%02d%s", hour % 12 == 0 ? 12 : hour % 12,
                      static_cast<int>(clock.minutes().count()), hour < 12 ? "am" : "pm");
        cells["t1"] = text;
    }
    if (!numbers.contains("l1")) {
        throw Nonsense(cells.contains("l1") ? "the price l1 is no number: " + cells["l1"]
                                            : "a quote without a price, l1");
    }
    if (!cells.contains("d1")) {
        throw Nonsense("a quote without a time");
    }
    if (const auto before = numbers.find("p"); before != numbers.end() && before->second != 0) {
        char text[64];
        cells["c1"] = ChangeText(cells["l1"], cells["p"]);
        std::snprintf(text, sizeof text, "%+.2f%%",
                      100 * (numbers["l1"] - before->second) / before->second);
        cells["p2"] = text;
    }
    for (const auto& [range, low, high] : {std::tuple{"m", "g", "h"}, {"w", "j", "k"}}) {
        if (cells.contains(low) && cells.contains(high)) {
            cells.try_emplace(range, cells[low] + " - " + cells[high]);
        }
    }
    std::string header, line;
    for (const auto& [letters, value] : cells) {
        header.append(header.empty() ? "" : ",").append(letters);
        line.append(line.empty() ? "" : ",").append(value);
    }
    return header + "\n" + line + "\n";
}

void ReadChain(const ReplyValues& values, const Ask& ask, const Json& document, const Json& list,
               Reading& reading) {
    Chain chain{ask.ticker};
    for (const auto& [pointer, member] : {std::pair{&values.recipe.shareLast, &Chain::last},
                                          {&values.recipe.shareChange, &Chain::change},
                                          {&values.recipe.shareBid, &Chain::bid},
                                          {&values.recipe.shareAsk, &Chain::ask},
                                          {&values.recipe.shareVolume, &Chain::volume}}) {
        chain.*member = pointer->empty() ? unknown : values.Number(At(document, *pointer));
    }
    chain.time = values.Time(At(document, values.recipe.time), true);
    std::size_t number = 0;
    const auto readOption = [&](const Json& row, std::string& at) {
        at = values.recipe.option.name;
        const Json* symbol = At(row, at);
        if (!symbol || !symbol->is_string()) {
            throw Nonsense("an option without a symbol");
        }
        Option option = ParseOptionSymbol(symbol->get<std::string>());
        for (const auto& [place, member] : {std::pair{&values.recipe.last, &Option::last},
                                            {&values.recipe.change, &Option::change},
                                            {&values.recipe.bid, &Option::bid},
                                            {&values.recipe.ask, &Option::ask},
                                            {&values.recipe.volume, &Option::volume},
                                            {&values.recipe.interest, &Option::interest},
                                            {&values.recipe.volatility, &Option::volatility}}) {
            if (place->IsGiven()) {
                at = place->name;
                option.*member = values.Number(At(row, at));
            }
        }
        chain.options.push_back(option);
    };
    for (const Json* row : values.Rows(list)) {
        std::string at;
        ++number;
        try {
            readOption(*row, at);
        } catch (const Nonsense& nonsense) {
            throw Nonsense("row " + std::to_string(number) + ", " + at + ": " + nonsense.what());
        }
    }
    reading.table = WriteChain(chain, reading.dropped);
    reading.state = reading.table.empty() ? State::NoRows : State::Rows;
    reading.ownChain = WriteOwnChain(chain);
}

}  // namespace quoteserver::living
