// A reply's texts and JSON.
#include "living/ReplyReader.h"

#include <algorithm>
#include <cmath>

#include "Http.h"
#include "living/Numbers.h"

namespace quoteserver::living {
namespace {

bool HasAny(const std::string& lowerText, const std::vector<std::string>& parts) {
    return std::ranges::any_of(
        parts, [&](const std::string& part) { return lowerText.find(part) != std::string::npos; });
}

}  // namespace

Reading ReplyReader::Read() {
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

void ReplyReader::ReadEvents(const Json& root, History& history) const {
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
void ReplyReader::AddEvents(History& history, Date day, double amount, double shares) const {
    if (amount > 0) {
        history.dividends.push_back({day, amount * m_recipe.scale});
    }
    if (shares > 0 && shares != 1) {
        history.splits.push_back({day, shares});
    }
}

void ReplyReader::ReadParallel(const Json& root, Reading& reading) const {
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

void ReplyReader::ReadEach(const Json& list, Reading& reading) const {
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

Reading ReplyReader::ReadJson() {
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
        m_values.offset =
            std::chrono::seconds(std::abs(ahead) <= day ? static_cast<int>(ahead) : 0);
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

Reading ReadReply(const Recipe& recipe, const Ask& ask, const std::string& body) {
    try {
        Reading reading = ReplyReader(recipe, ask, body).Read();
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

}  // namespace quoteserver::living
