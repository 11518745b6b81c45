// What a recipe makes of a reply: histories here; quotes and options are one value after the other.
#pragma once

#include <string>
#include <vector>

#include "living/ReplyValues.h"

namespace quoteserver::living {

// One reply, one way to its values: a row is an object, or an index into parallel lists, or a line.
class ReplyReader {
public:
    ReplyReader(const Recipe& recipe, const Ask& ask, const std::string& body)
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

}  // namespace quoteserver::living
