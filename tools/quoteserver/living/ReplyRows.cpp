// A reply's lines, and the rows of a table.
#include <algorithm>
#include <charconv>
#include <cmath>

#include "Http.h"
#include "living/Numbers.h"
#include "living/ReplyReader.h"

namespace quoteserver::living {

bool ReplyReader::IsDay(const std::string& text) const {
    try {
        m_values.Day(std::string_view(text));
        return true;
    } catch (const Nonsense&) {
        return false;
    }
}

template <typename NextRow>
Reading ReplyReader::ReadRows(const Cells& header, const NextRow& next) {
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

Reading ReplyReader::ReadCsv() {
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
Json ReplyReader::QuoteValue(const std::string& column, const std::string& text) const {
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

Reading ReplyReader::ReadTable(const Table& table) {
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

Reading ReadTable(const Recipe& recipe, const Ask& ask, const Table& table) {
    static const std::string none;
    return ReplyReader(recipe, ask, none).ReadTable(table);
}

}  // namespace quoteserver::living
