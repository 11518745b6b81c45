// What a recipe makes of a reply: histories here; quotes and options are one value after the other.
#include <algorithm>
#include <charconv>
#include <cmath>

#include "Http.h"
#include "living/Numbers.h"
#include "living/ReplyValues.h"

namespace quoteserver::living {
namespace {

using namespace std::chrono;

bool HasAny(const std::string& lowerText, const std::vector<std::string>& parts) {
    return std::ranges::any_of(
        parts, [&](const std::string& part) { return lowerText.find(part) != std::string::npos; });
}

// One reply, one way to its values: a row is an object, or an index into parallel lists, or a line.
class Reader {
public:
    Reader(const Recipe& recipe, const Ask& ask, const std::string& body)
        : m_recipe(recipe), m_ask(ask), m_body(body), m_values{recipe} {}

    Reading Read();
    Reading ReadTable(const Table& table);

private:
    using Cells = std::vector<std::string>;

    Reading ReadJson();
    Reading ReadCsv();
    Json QuoteValue(const std::string& column, const std::string& text) const;
    // Of days; the function brings the values of a row, as many as the header has, until there is
    // none left. Lines and rows are counted for what is said of the one at hand.
    template <typename NextRow>
    Reading ReadRows(const Cells& header, const NextRow& next);
    std::string Where() const { return m_unit + std::to_string(m_number); }
    void ReadEvents(const Json& root, History& history) const;
    bool IsDay(const std::string& text) const;
    void AddEvents(History& history, Date day, double amount, double shares) const;
    void ReadParallel(const Json& root, Reading& reading) const;
    void ReadEach(const Json& list, Reading& reading) const;

    // Each price column, with the member of a bar that it fills.
    struct Column {
        const Place& place;
        double Bar::*member;
        bool isPrice;
    };
    std::vector<Column> Columns() const {
        return {{m_recipe.open, &Bar::open, true},         {m_recipe.high, &Bar::high, true},
                {m_recipe.low, &Bar::low, true},           {m_recipe.close, &Bar::close, true},
                {m_recipe.adjusted, &Bar::adjusted, true}, {m_recipe.volume, &Bar::volume, false},
                {m_recipe.interest, &Bar::interest, false}};
    }
    double Scaled(double value, const Column& column) const {
        return column.isPrice ? value * m_recipe.scale : value;
    }

    const Recipe& m_recipe;
    const Ask& m_ask;
    const std::string& m_body;
    ReplyValues m_values;
    const char* m_unit = "line ";
    std::size_t m_number = 1;
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

void Reader::ReadEvents(const Json& root, History& history) const {
    const auto read = [&](const Recipe::Events& events, const auto& take) {
        const Json* list = events.each.empty() ? nullptr : At(root, events.each);
        if (!list || list->is_null()) {
            return;
        }
        for (const Json* event : m_values.Rows(*list)) {
            const Json* date = At(*event, events.date);
            if (!date) {
                throw Nonsense("an event without a date");
            }
            take(*event, m_values.Day(*date));
        }
    };
    read(m_recipe.dividends, [&](const Json& event, Date day) {
        const double amount = m_values.Number(At(event, m_recipe.dividends.amount));
        if (!(amount > 0)) {
            throw Nonsense("a dividend without an amount");
        }
        history.dividends.push_back({day, amount * m_recipe.scale});
    });
    read(m_recipe.splits, [&](const Json& event, Date day) {
        const auto& [after, before] = m_recipe.splits.ratio;
        const double shares = m_values.Number(At(event, after)) /
                              (before.empty() ? 1 : m_values.Number(At(event, before)));
        if (!(shares > 0) || !std::isfinite(shares)) {
            throw Nonsense("a split without a ratio");
        }
        history.splits.push_back({day, shares});
    });
}

// Of a row, whose values may be missing.
void Reader::AddEvents(History& history, Date day, double amount, double shares) const {
    if (amount > 0) {
        history.dividends.push_back({day, amount * m_recipe.scale});
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
        Bar bar{m_values.Day((*dates)[row])};
        for (std::size_t i = 0; i < columns.size(); ++i) {
            if (lists[i]) {
                bar.*columns[i].member = Scaled(m_values.Number(&(*lists[i])[row]), columns[i]);
            }
        }
        reading.history.bars.push_back(bar);
    }
}

void Reader::ReadEach(const Json& list, Reading& reading) const {
    for (const Json* row : m_values.Rows(list)) {
        const Json* date = At(*row, m_recipe.date.name);
        if (!date) {
            throw Nonsense("a row without " + m_recipe.date.name);
        }
        Bar bar{m_values.Day(*date)};
        for (const Column& column : Columns()) {
            if (!column.place.IsGiven()) {
                continue;
            }
            const Json* value = At(*row, column.place.name);
            if (!value) {
                throw Nonsense("a row without " + column.place.name);
            }
            bar.*column.member = Scaled(m_values.Number(value), column);
        }
        const auto event = [&](const Recipe::Events& events, const std::string& place) {
            return events.each.empty() && !place.empty() ? m_values.Number(At(*row, place))
                                                         : unknown;
        };
        AddEvents(reading.history, bar.day, event(m_recipe.dividends, m_recipe.dividends.amount),
                  event(m_recipe.splits, m_recipe.splits.ratio.first));
        reading.history.bars.push_back(bar);
    }
}

Reading Reader::ReadJson() {
    // Each costs dozens of times its bytes; large option tables have a million.
    constexpr int deepest = 100, most = 3000000;
    const auto check = [count = 0](int depth, Json::parse_event_t, const Json&) mutable {
        if (depth > deepest || ++count > most) {
            throw Nonsense(depth > deepest ? "brackets in brackets" : "too many values");
        }
        return true;
    };
    const Json document = Json::parse(m_body, check, false);
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
    Reading reading;
    if (const Json* offset = m_recipe.offset.empty() ? nullptr : At(*root, m_recipe.offset)) {
        constexpr double day = 86400;
        const double value = m_values.Number(offset);
        const double ahead = std::abs(value) <= day ? value : value / 1000;  // or milliseconds
        m_values.offset = seconds(std::abs(ahead) <= day ? static_cast<int>(ahead) : 0);
        reading.offset = m_values.offset;
    }
    if (m_ask.kind == Kind::Quotes) {
        reading.table = ReadQuote(m_values, m_ask, *root);
        return reading;
    }
    const Json* list = m_recipe.each.empty() ? root : At(*root, m_recipe.each);
    if (!list) {
        throw Nonsense("there is nothing at " + m_recipe.each);
    }
    if (m_recipe.option.IsGiven()) {
        ReadChain(m_values, m_ask, document, *list, reading);
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

bool Reader::IsDay(const std::string& text) const {
    try {
        m_values.Day(std::string_view(text));
        return true;
    } catch (const Nonsense&) {
        return false;
    }
}

template <typename NextRow>
Reading Reader::ReadRows(const Cells& header, const NextRow& next) {
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
    if (IsDay(header[date])) {
        throw Nonsense("the first line is a row; it has to name the columns");
    }
    const std::vector<Column> columns = Columns();
    std::vector<std::size_t> places;
    for (const Column& column : columns) {
        places.push_back(require(column.place, "at that position"));
    }
    const std::size_t amount = require({m_recipe.dividends.amount}, "");
    const std::size_t shares = require({m_recipe.splits.ratio.first}, "");
    Reading reading;
    while (const std::string* cells = next()) {
        std::size_t at = date;
        const auto value = [&](std::size_t place) {
            at = place;
            const bool isThere = place < header.size() && !cells[place].empty() &&
                                 cells[place] != "null" && cells[place] != "N/A";
            return isThere ? m_values.Number(std::string_view(cells[place])) : unknown;
        };
        try {
            Bar bar{m_values.Day(std::string_view(cells[date]))};
            for (std::size_t i = 0; i < columns.size(); ++i) {
                bar.*columns[i].member = Scaled(value(places[i]), columns[i]);
            }
            AddEvents(reading.history, bar.day, value(amount), value(shares));
            reading.history.bars.push_back(bar);
        } catch (const Nonsense& nonsense) {
            throw Nonsense(Where() + ", column " + header[at] + ": " + nonsense.what());
        }
    }
    if (reading.history.bars.empty()) {
        reading.state = State::NoRows;
    }
    return reading;
}

Reading Reader::ReadCsv() {
    std::string_view rest = WithoutByteOrderMark(m_body);
    const Cells header = SplitCsvLine(TakeLine(rest), m_recipe.separator);
    Cells cells;
    if (m_ask.kind == Kind::Quotes) {
        Table quote{header, {}};
        while (!rest.empty()) {
            const std::string_view line = TakeLine(rest);
            cells = line.empty() ? Cells() : SplitCsvLine(line, m_recipe.separator);
            ++m_number;
            if (!cells.empty() && cells.size() != header.size()) {
                throw Nonsense(Where() + ": " + std::to_string(cells.size()) +
                               " values where the header has " + std::to_string(header.size()));
            }
            quote.cells.insert(quote.cells.end(), cells.begin(), cells.end());
        }
        return ReadTable(quote);
    }
    return ReadRows(header, [&]() -> const std::string* {
        while (!rest.empty()) {
            const std::string_view line = TakeLine(rest);
            ++m_number;
            // The last line may say who made the table.
            if (line.empty() || (rest.empty() && line.starts_with("<!--"))) {
                continue;
            }
            cells = SplitCsvLine(line, m_recipe.separator);
            // The newest day may still be without its volume, which is the last column.
            if (cells.size() != header.size() && cells.size() + 1 != header.size()) {
                throw Nonsense(Where() + ": " + std::to_string(cells.size()) +
                               " values where the header has " + std::to_string(header.size()));
            }
            cells.resize(header.size());
            return cells.data();
        }
        return nullptr;
    });
}

// What looks like a number is one, but in names.
Json Reader::QuoteValue(const std::string& column, const std::string& text) const {
    const auto place = [](std::string_view name) {
        return name.substr(name.starts_with('/') ? 1 : 0);
    };
    const auto found = std::ranges::find(m_recipe.quote, place(column),
                                         [&](const auto& value) { return place(value.second); });
    const std::string& letters = found == m_recipe.quote.end() ? column : found->first;
    if (letters == "time") {
        const Json json(text);
        return m_values.Time(&json, false).time_since_epoch().count();
    }
    double number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    const bool isNumber = error == std::errc{} && stop == end && std::isfinite(number);
    return isNumber && letters != "n" && letters != "s" ? Json(number) : Json(text);
}

Reading Reader::ReadTable(const Table& table) {
    const std::size_t width = table.names.size();
    if (table.cells.empty()) {
        return {State::Unknown, "there are no rows of it"};
    }
    if (IsOfDays(m_ask.kind)) {
        m_unit = "row ";
        m_number = 0;
        return ReadRows(table.names, [&]() -> const std::string* {
            const std::size_t at = width * m_number++;
            return at < table.cells.size() ? &table.cells[at] : nullptr;
        });
    }
    Json rows = Json::array();
    for (std::size_t at = 0; at < table.cells.size(); ++at) {
        if (at % width == 0) {
            rows.push_back(Json::object());
        }
        const std::string& text = table.cells[at];
        const std::string& name = table.names[at % width];
        rows.back()[name] = text.empty()                 ? Json()
                            : m_ask.kind == Kind::Quotes ? QuoteValue(name, text)
                                                         : Json(text);
    }
    Reading reading;
    if (m_ask.kind == Kind::Quotes) {
        if (rows.size() > 1) {
            throw Nonsense("a quote of several rows");
        }
        reading.table = ReadQuote(m_values, m_ask, rows[0]);
    } else {
        ReadChain(m_values, m_ask, rows, rows, reading);
    }
    return reading;
}

}  // namespace

Reading ReadReply(const Recipe& recipe, const Ask& ask, const std::string& body) {
    try {
        Reading reading = Reader(recipe, ask, body).Read();
        if (reading.state == State::NoRows && recipe.isNoRowsUnknown) {
            reading = {State::Unknown, "there are no rows of it"};
        }
        return reading;
    } catch (const Nonsense& nonsense) {
        return {State::Nonsense, nonsense.what()};
    } catch (const Json::exception&) {
        return {State::Nonsense, "JSON of another form"};
    }
}

Reading ReadTable(const Recipe& recipe, const Ask& ask, const Table& table) {
    static const std::string none;
    return Reader(recipe, ask, none).ReadTable(table);
}

}  // namespace quoteserver::living
