#include "living/Recipe.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <map>
#include <regex>

#include "living/Chain.h"
#include "living/Numbers.h"

namespace quoteserver::living {
namespace {

using namespace std::chrono;

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
    });
    return lower;
}

// "No data found|delisted" are two texts.
std::vector<std::string> Alternatives(const std::string& texts) {
    std::vector<std::string> parts;
    for (std::string_view rest = texts; !rest.empty();) {
        const std::string_view part = TakeField(rest, '|');
        if (!part.empty()) {
            parts.push_back(Lower(part));
        }
    }
    return parts;
}

bool HasAny(const std::string& lowerText, const std::vector<std::string>& parts) {
    return std::ranges::any_of(
        parts, [&](const std::string& part) { return lowerText.find(part) != std::string::npos; });
}

// "a/b" and "/a/b" are the same pointer, and nothing is the document itself.
Json::json_pointer Pointer(const std::string& text) {
    return Json::json_pointer(text.empty() || text.starts_with('/') ? text : "/" + text);
}

const Json* At(const Json& value, const std::string& path) {
    const Json::json_pointer pointer = Pointer(path);
    return value.contains(pointer) ? &value.at(pointer) : nullptr;
}

std::string PointerOf(Section& section, const std::string& key, std::string otherwise = {}) {
    std::string text = section.Text(key, std::move(otherwise));
    try {
        Pointer(text);
    } catch (const Json::exception&) {
        section.Complain(key, "\"" + text + "\" is no JSON pointer");
        text.clear();
    }
    return text;
}

Place PlaceOf(Section& section, const std::string& key, bool isCsv) {
    const Json* value = section.Find(key);
    if (value && isCsv && value->is_number_unsigned() && value->get<std::size_t>() > 0) {
        return {{}, value->get<std::size_t>()};
    }
    return {isCsv ? section.Text(key) : PointerOf(section, key)};
}

Recipe::Events EventsOf(Section& section, const std::string& key) {
    Recipe::Events events;
    const Json* value = section.Find(key);
    if (!value) {
        return events;
    }
    // The mistakes' list is that of the section.
    Section part = section.Below(key, *value);
    events.each = PointerOf(part, "each");
    events.date = PointerOf(part, "date", "date");
    events.amount = PointerOf(part, "amount");
    if (const std::vector<std::string> ratio = part.Texts("ratio"); ratio.size() > 2) {
        part.Complain("ratio", "two places are expected: of the shares after, and before");
    } else if (!ratio.empty()) {
        events.ratio = {ratio.front(), ratio.size() == 2 ? ratio.back() : ""};
    }
    return events;
}

void ReadColumns(Recipe& recipe, Section& section) {
    const Json* columns = section.Find("columns");
    if (!columns) {
        if (recipe.quote.empty()) {
            section.Complain("columns", "is missing");
        }
        return;
    }
    const bool isCsv = recipe.format == Recipe::Format::CsvText;
    Section names = section.Below("columns", *columns);
    for (const auto& [name, place] : {std::pair{"Open", &recipe.open},
                                      {"High", &recipe.high},
                                      {"Low", &recipe.low},
                                      {"Close", &recipe.close},
                                      {"Adj Close", &recipe.adjusted},
                                      {"Volume", &recipe.volume},
                                      {"Option", &recipe.option},
                                      {"Bid", &recipe.bid},
                                      {"Ask", &recipe.ask},
                                      {"Last", &recipe.last},
                                      {"Change", &recipe.change},
                                      {"Open Interest", &recipe.interest}}) {
        *place = PlaceOf(names, name, isCsv);
    }
    if (!recipe.close.IsGiven() && !recipe.option.IsGiven()) {
        names.Complain("Close", "is missing");
    }
}

}  // namespace

Recipe ReadRecipe(Section& section) {
    Recipe recipe;
    recipe.terms = section.Text("terms");
    recipe.termsSay = section.Text("termsSay");
    recipe.url = section.Text("url");
    recipe.format = section.OneOf("format", {"json", "csv"}, 0) == 0 ? Recipe::Format::JsonText
                                                                     : Recipe::Format::CsvText;
    const bool isCsv = recipe.format == Recipe::Format::CsvText;
    const std::string separator = section.Text("separator", ",");
    if (separator.size() != 1) {
        section.Complain("separator", "one character is expected");
    } else {
        recipe.separator = separator[0];
    }
    recipe.root = PointerOf(section, "root");
    recipe.each = PointerOf(section, "each");
    recipe.error = PointerOf(section, "error");
    if (const Json* unknownIs = section.Find("unknown")) {
        Section part = section.Below("unknown", *unknownIs);
        recipe.unknownTexts = Alternatives(part.Text("text"));
        recipe.unknownStatuses = part.Statuses("status", {});
    }
    recipe.limitedTexts = Alternatives(section.Text("limitedText"));
    recipe.limitedStatuses = section.Statuses("limited", recipe.limitedStatuses);
    recipe.date = PlaceOf(section, "date", isCsv);
    const std::size_t epoch = section.OneOf("epoch", {"s", "ms"}, 2);
    const std::size_t form = section.OneOf("dates", {"yyyy-mm-dd", "yyyymmdd", "mm/dd/yyyy"}, 0);
    recipe.dates = epoch == 0   ? Recipe::Dates::Seconds
                   : epoch == 1 ? Recipe::Dates::Milliseconds
                                : static_cast<Recipe::Dates>(form);
    recipe.offset = PointerOf(section, "offset");
    if (const Json* share = section.Find("underlying")) {
        Section part = section.Below("underlying", *share);
        for (const auto& [name, pointer] : {std::pair{"Last", &recipe.shareLast},
                                            {"Change", &recipe.shareChange},
                                            {"Bid", &recipe.shareBid},
                                            {"Ask", &recipe.shareAsk},
                                            {"Volume", &recipe.shareVolume},
                                            {"Time", &recipe.time}}) {
            *pointer = PointerOf(part, name);
        }
    }
    recipe.quote = section.TextsByName("quote");
    ReadColumns(recipe, section);
    const bool isHistory = !recipe.option.IsGiven() && recipe.quote.empty();
    if (!recipe.date.IsGiven() && (isHistory || recipe.close.IsGiven())) {
        section.Complain("date", "is missing");
    }
    recipe.dividends = EventsOf(section, "dividends");
    recipe.splits = EventsOf(section, "splits");
    recipe.isSplitAdjusted = section.OneOf("prices", {"raw", "split-adjusted"}, 0) == 1;
    recipe.isVolumeSplitAdjusted = section.OneOf("volume", {"raw", "split-adjusted"}, 0) == 1;
    recipe.isFloat32 = section.Truth("float32", false);
    recipe.scale = section.Number("scale", 1);
    recipe.symbols = section.TextsByName("symbols");
    for (const auto& [pattern, unused] : recipe.symbols) {
        try {
            std::regex{pattern};
        } catch (const std::regex_error&) {
            section.Complain("symbols/" + pattern, "is no pattern");
        }
    }
    return recipe;
}

std::string SymbolOf(const Recipe& recipe, const std::string& ticker) {
    for (const auto& [pattern, replacement] : recipe.symbols) {
        const std::regex expression(pattern);
        if (std::regex_search(ticker, expression)) {
            return std::regex_replace(ticker, expression, replacement,
                                      std::regex_constants::format_first_only);
        }
    }
    return ticker;
}

namespace {

constexpr double latestTime = 253402300800.0;  // the year 10000, in seconds

// One reply, one way to its values: a row is an object, or an index into parallel lists, or a line.
class Reader {
public:
    Reader(const Recipe& recipe, const Ask& ask, const std::string& body)
        : m_recipe(recipe), m_ask(ask), m_body(body) {}

    Reading Read();

private:
    using Cells = std::vector<std::string>;

    Reading ReadJson();
    Reading ReadCsv();
    double Number(const Json* value) const;
    double Number(std::string_view text) const;
    Date Day(const Json& value) const;
    Date Day(std::string_view text) const;
    Date Day(double epoch) const;
    sys_seconds Time(const Json* value) const;
    std::vector<const Json*> Rows(const Json& list) const;
    void ReadEvents(const Json& root, History& history) const;
    static void AddEvents(History& history, Date day, double amount, double shares);
    void ReadParallel(const Json& root, Reading& reading) const;
    void ReadEach(const Json& list, Reading& reading) const;
    std::string ReadQuote(const Json& root) const;
    std::string ReadChain(const Json& document, const Json& list, std::size_t& dropped) const;

    // Each price column, with the member of a bar that it fills.
    struct Column {
        const Place& place;
        double Bar::*member;
        bool isPrice;
    };
    std::vector<Column> Columns() const {
        return {{m_recipe.open, &Bar::open, true},         {m_recipe.high, &Bar::high, true},
                {m_recipe.low, &Bar::low, true},           {m_recipe.close, &Bar::close, true},
                {m_recipe.adjusted, &Bar::adjusted, true}, {m_recipe.volume, &Bar::volume, false}};
    }
    double Scaled(double value, const Column& column) const {
        return column.isPrice ? value * m_recipe.scale : value;
    }

    const Recipe& m_recipe;
    const Ask& m_ask;
    const std::string& m_body;
    seconds m_offset{0};
};

Reading Reader::Read() {
    const std::string_view text = WithoutByteOrderMark(m_body);
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) {
        throw Nonsense("an empty reply");
    }
    // Texts of failures are short; a table of prices is not searched for them.
    constexpr std::size_t longestText = 20000;
    if (m_body.size() <= longestText) {
        const std::string lower = Lower(m_body);
        if (HasAny(lower, m_recipe.limitedTexts)) {
            return {State::Limited, "the reply says that it was asked too often"};
        }
        if (HasAny(lower, m_recipe.unknownTexts)) {
            return {State::Unknown, "the reply says that there is no such symbol"};
        }
    }
    if (text[first] == '<') {
        throw Nonsense("a page instead of data");
    }
    return m_recipe.format == Recipe::Format::JsonText ? ReadJson() : ReadCsv();
}

double Reader::Number(std::string_view text) const {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || !std::isfinite(value)) {
        throw Nonsense("\"" + std::string(text.substr(0, 40)) + "\" is not a number");
    }
    return m_recipe.isFloat32 ? FromFloat32(value) : value;
}

double Reader::Number(const Json* value) const {
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
    return m_recipe.isFloat32 && value->is_number_float() ? FromFloat32(number) : number;
}

// A bar of a currency or a future may begin at local midnight, and the offset is today's: without
// three hours more, half the year the day would be the one before.
Date Reader::Day(double epoch) const {
    const double time = m_recipe.dates == Recipe::Dates::Milliseconds ? epoch / 1000 : epoch;
    if (!(std::abs(time) < latestTime)) {
        throw Nonsense("a time that is none");
    }
    return floor<days>(sys_seconds(seconds(static_cast<long long>(time))) + m_offset + 3h);
}

Date Reader::Day(const Json& value) const {
    if (value.is_number()) {
        return Day(value.get<double>());
    }
    if (!value.is_string()) {
        throw Nonsense("a date is " + std::string(value.type_name()));
    }
    return Day(std::string_view(value.get_ref<const std::string&>()));
}

Date Reader::Day(std::string_view text) const {
    const auto number = [&](std::size_t from, std::size_t length) {
        int value = -1;
        if (from + length <= text.size()) {
            std::from_chars(text.data() + from, text.data() + from + length, value);
        }
        return value;
    };
    std::optional<Date> day;
    switch (m_recipe.dates) {
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

// "2026-08-07 18:58:23", with a blank or a T in between.
sys_seconds Reader::Time(const Json* value) const {
    const std::string text = value && value->is_string() ? value->get<std::string>() : "";
    const std::optional<Date> day = ParseIsoDate(std::string_view(text).substr(0, 10));
    int hour = -1, minute = -1;
    if (text.size() >= 16) {
        std::from_chars(text.data() + 11, text.data() + 13, hour);
        std::from_chars(text.data() + 14, text.data() + 16, minute);
    }
    if (!day || hour < 0 || hour > 23 || minute < 0 || minute > 59) {
        throw Nonsense("\"" + PrintableText(text) + "\" is not a time");
    }
    return *day + hours(hour) + minutes(minute);
}

// The members of a list, or of an object whose names do not matter.
std::vector<const Json*> Reader::Rows(const Json& list) const {
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

void Reader::ReadEvents(const Json& root, History& history) const {
    const auto read = [&](const Recipe::Events& events, const auto& take) {
        const Json* list = events.each.empty() ? nullptr : At(root, events.each);
        if (!list || list->is_null()) {
            return;
        }
        for (const Json* event : Rows(*list)) {
            const Json* date = At(*event, events.date);
            if (!date) {
                throw Nonsense("an event without a date");
            }
            take(*event, Day(*date));
        }
    };
    read(m_recipe.dividends, [&](const Json& event, Date day) {
        const double amount = Number(At(event, m_recipe.dividends.amount));
        if (!(amount > 0)) {
            throw Nonsense("a dividend without an amount");
        }
        history.dividends.push_back({day, amount});
    });
    read(m_recipe.splits, [&](const Json& event, Date day) {
        const auto& [after, before] = m_recipe.splits.ratio;
        const double shares =
            Number(At(event, after)) / (before.empty() ? 1 : Number(At(event, before)));
        if (!(shares > 0) || !std::isfinite(shares)) {
            throw Nonsense("a split without a ratio");
        }
        history.splits.push_back({day, shares});
    });
}

// Of a row, whose values may be missing.
void Reader::AddEvents(History& history, Date day, double amount, double shares) {
    if (amount > 0) {
        history.dividends.push_back({day, amount});
    }
    if (shares > 0 && shares != 1) {
        history.splits.push_back({day, shares});
    }
}

void Reader::ReadParallel(const Json& root, Reading& reading) const {
    const Json* dates = At(root, m_recipe.date.name);
    const std::vector<Column> columns = Columns();
    std::vector<const Json*> lists;
    for (const Column& column : columns) {
        const Json* list = column.place.IsGiven() ? At(root, column.place.name) : nullptr;
        lists.push_back(list && list->is_array() ? list : nullptr);
    }
    if (!dates || dates->is_null()) {
        if (std::ranges::any_of(lists, [](const Json* list) { return list != nullptr; })) {
            throw Nonsense("there are no dates at " + m_recipe.date.name);
        }
        reading.state = State::NoRows;
        return;
    }
    if (!dates->is_array()) {
        throw Nonsense("there is no list of dates at " + m_recipe.date.name);
    }
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (!columns[i].place.IsGiven()) {
            continue;
        }
        if (!lists[i]) {
            throw Nonsense("there is no list at " + columns[i].place.name);
        }
        if (lists[i]->size() != dates->size()) {
            throw Nonsense(std::to_string(dates->size()) + " dates and " +
                           std::to_string(lists[i]->size()) + " values at " +
                           columns[i].place.name);
        }
    }
    reading.history.bars.reserve(dates->size());
    for (std::size_t row = 0; row < dates->size(); ++row) {
        Bar bar{Day((*dates)[row])};
        for (std::size_t i = 0; i < columns.size(); ++i) {
            if (lists[i]) {
                bar.*columns[i].member = Scaled(Number(&(*lists[i])[row]), columns[i]);
            }
        }
        reading.history.bars.push_back(bar);
    }
}

void Reader::ReadEach(const Json& list, Reading& reading) const {
    for (const Json* row : Rows(list)) {
        const Json* date = At(*row, m_recipe.date.name);
        if (!date) {
            throw Nonsense("a row without " + m_recipe.date.name);
        }
        Bar bar{Day(*date)};
        for (const Column& column : Columns()) {
            if (!column.place.IsGiven()) {
                continue;
            }
            const Json* value = At(*row, column.place.name);
            if (!value) {
                throw Nonsense("a row without " + column.place.name);
            }
            bar.*column.member = Scaled(Number(value), column);
        }
        const auto event = [&](const Recipe::Events& events, const std::string& place) {
            return events.each.empty() && !place.empty() ? Number(At(*row, place)) : unknown;
        };
        AddEvents(reading.history, bar.day, event(m_recipe.dividends, m_recipe.dividends.amount),
                  event(m_recipe.splits, m_recipe.splits.ratio.first));
        reading.history.bars.push_back(bar);
    }
}

Reading Reader::ReadJson() {
    const Json document = Json::parse(m_body, nullptr, false);
    if (document.is_discarded()) {
        throw Nonsense("broken JSON");
    }
    const Json* error = m_recipe.error.empty() ? nullptr : At(document, m_recipe.error);
    if (error && error->is_string()) {
        const std::string text = PrintableText(error->get<std::string>());
        if (HasAny(Lower(text), m_recipe.unknownTexts)) {
            return {State::Unknown, text};
        }
        return {HasAny(Lower(text), m_recipe.limitedTexts) ? State::Limited : State::Refused, text};
    }
    const Json* root = At(document, m_recipe.root);
    if (!root || root->is_null()) {
        throw Nonsense("there is nothing at " + m_recipe.root);
    }
    if (const Json* offset = m_recipe.offset.empty() ? nullptr : At(*root, m_recipe.offset)) {
        const double value = Number(offset);
        m_offset = seconds(std::abs(value) <= 86400 ? static_cast<int>(value) : 0);
    }
    Reading reading;
    if (m_ask.kind == Kind::Quotes) {
        reading.table = ReadQuote(*root);
        return reading;
    }
    const Json* list = m_recipe.each.empty() ? root : At(*root, m_recipe.each);
    if (!list) {
        throw Nonsense("there is nothing at " + m_recipe.each);
    }
    if (m_recipe.option.IsGiven()) {
        reading.table = ReadChain(document, *list, reading.dropped);
        reading.state = reading.table.empty() ? State::NoRows : State::Rows;
        return reading;
    }
    if (m_recipe.each.empty() && !root->is_array()) {
        ReadParallel(*root, reading);
    } else {
        ReadEach(*list, reading);
    }
    ReadEvents(*root, reading.history);
    if (reading.history.bars.empty()) {
        reading.state = State::NoRows;
    }
    return reading;
}

// A header and a line, as quotes.csv has them. Commas would shift the columns of clients.
std::string Reader::ReadQuote(const Json& root) const {
    std::map<std::string, std::string> values{{"s", m_ask.ticker}};
    std::map<std::string, double> numbers;
    for (const auto& [letters, place] : m_recipe.quote) {
        const Json* value = At(root, place);
        if (!value || value->is_null()) {
            continue;
        }
        if (value->is_string()) {
            std::string text = PrintableText(value->get<std::string>());
            std::erase_if(text, [](char c) { return c == ',' || c == '"'; });
            values[letters] = text;
            continue;
        }
        const double number = Number(value);
        if (letters != "time") {
            numbers[letters] = number;
            values[letters] = DecimalText(number);
            continue;
        }
        if (!(std::abs(number) < latestTime)) {
            throw Nonsense("a time that is none");
        }
        const sys_seconds time = sys_seconds(seconds(static_cast<long long>(number))) + m_offset;
        const year_month_day day{floor<days>(time)};
        const hh_mm_ss clock{time - floor<days>(time)};
        const int hour = static_cast<int>(clock.hours().count());
        char text[64];
        std::snprintf(text, sizeof text, "%u/%u/%d", static_cast<unsigned>(day.month()),
                      static_cast<unsigned>(day.day()), static_cast<int>(day.year()));
        values["d1"] = text;
        std::snprintf(text, sizeof text, "%d:%02d%s", hour % 12 == 0 ? 12 : hour % 12,
                      static_cast<int>(clock.minutes().count()), hour < 12 ? "am" : "pm");
        values["t1"] = text;
    }
    if (!numbers.contains("l1") || !values.contains("d1")) {
        throw Nonsense("a quote without price or time");
    }
    if (const auto before = numbers.find("p"); before != numbers.end() && before->second != 0) {
        const double change = numbers["l1"] - before->second;
        char text[64];
        std::snprintf(text, sizeof text, "%+.2f", change);
        values["c1"] = text;
        std::snprintf(text, sizeof text, "%+.2f%%", 100 * change / before->second);
        values["p2"] = text;
    }
    std::string header, line;
    for (const auto& [letters, value] : values) {
        header.append(header.empty() ? "" : ",").append(letters);
        line.append(line.empty() ? "" : ",").append(value);
    }
    return header + "\n" + line + "\n";
}

std::string Reader::ReadChain(const Json& document, const Json& list, std::size_t& dropped) const {
    Chain chain{m_ask.ticker};
    for (const auto& [pointer, member] : {std::pair{&m_recipe.shareLast, &Chain::last},
                                          {&m_recipe.shareChange, &Chain::change},
                                          {&m_recipe.shareBid, &Chain::bid},
                                          {&m_recipe.shareAsk, &Chain::ask},
                                          {&m_recipe.shareVolume, &Chain::volume}}) {
        chain.*member = pointer->empty() ? unknown : Number(At(document, *pointer));
    }
    chain.time = Time(At(document, m_recipe.time));
    for (const Json* row : Rows(list)) {
        const Json* symbol = At(*row, m_recipe.option.name);
        if (!symbol || !symbol->is_string()) {
            throw Nonsense("an option without a symbol");
        }
        Option option = ParseOptionSymbol(symbol->get<std::string>());
        for (const auto& [place, member] : {std::pair{&m_recipe.last, &Option::last},
                                            {&m_recipe.change, &Option::change},
                                            {&m_recipe.bid, &Option::bid},
                                            {&m_recipe.ask, &Option::ask},
                                            {&m_recipe.volume, &Option::volume},
                                            {&m_recipe.interest, &Option::interest}}) {
            if (place->IsGiven()) {
                option.*member = Number(At(*row, place->name));
            }
        }
        chain.options.push_back(option);
    }
    return WriteChain(chain, dropped);
}

Reading Reader::ReadCsv() {
    std::string_view rest = WithoutByteOrderMark(m_body);
    const Cells header = SplitCsvLine(TakeLine(rest), m_recipe.separator);
    const auto find = [&](const Place& place) {
        if (place.position > 0) {
            return place.position <= header.size() ? place.position - 1 : std::string::npos;
        }
        const auto found = std::ranges::find(header, Lower(place.name), Lower);
        return found == header.end() ? std::string::npos
                                     : static_cast<std::size_t>(found - header.begin());
    };
    const auto require = [&](const Place& place, const char* what) {
        const std::size_t index = place.IsGiven() ? find(place) : std::string::npos;
        if (place.IsGiven() && index == std::string::npos) {
            throw Nonsense(std::string("there is no column ") +
                           (place.name.empty() ? what : place.name));
        }
        return index;
    };
    const std::size_t date = require(m_recipe.date, "of dates");
    const std::vector<Column> columns = Columns();
    std::vector<std::size_t> places;
    for (const Column& column : columns) {
        places.push_back(require(column.place, "at that position"));
    }
    const std::size_t amount = require({m_recipe.dividends.amount}, "");
    const std::size_t shares = require({m_recipe.splits.ratio.first}, "");
    Reading reading;
    while (!rest.empty()) {
        const std::string_view line = TakeLine(rest);
        if (line.empty()) {
            continue;
        }
        const Cells cells = SplitCsvLine(line, m_recipe.separator);
        // The newest day may still be without its volume, which is the last column.
        if (cells.size() != header.size() && cells.size() + 1 != header.size()) {
            throw Nonsense(std::to_string(cells.size()) + " values where the header has " +
                           std::to_string(header.size()));
        }
        const auto value = [&](std::size_t place) {
            const bool isThere = place < cells.size() && !cells[place].empty() &&
                                 cells[place] != "null" && cells[place] != "N/A";
            return isThere ? Number(std::string_view(cells[place])) : unknown;
        };
        Bar bar{Day(std::string_view(cells[date]))};
        for (std::size_t i = 0; i < columns.size(); ++i) {
            bar.*columns[i].member = Scaled(value(places[i]), columns[i]);
        }
        AddEvents(reading.history, bar.day, value(amount), value(shares));
        reading.history.bars.push_back(bar);
    }
    if (reading.history.bars.empty()) {
        reading.state = State::NoRows;
    }
    return reading;
}

}  // namespace

Reading ReadReply(const Recipe& recipe, const Ask& ask, const std::string& body) {
    try {
        return Reader(recipe, ask, body).Read();
    } catch (const Nonsense& nonsense) {
        return {State::Nonsense, nonsense.what()};
    } catch (const Json::exception&) {
        return {State::Nonsense, "JSON of another form"};
    }
}

}  // namespace quoteserver::living
