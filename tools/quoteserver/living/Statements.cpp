#include "living/Statements.h"

#include <algorithm>

#include "Http.h"
#include "living/Numbers.h"
#include "replies/OwnTables.h"

namespace quoteserver::living {
namespace {

namespace replies = vtdl::replies;

// Databases like names in small letters and without blanks.
std::string Spelling(std::string_view name) {
    std::string spelling = Lower(name);
    std::ranges::replace(spelling, '_', ' ');
    return spelling;
}

[[noreturn]] void RefuseColumn(const std::string& name) {
    throw Nonsense("the statement has a column of an unknown name: " + name);
}

void Require(const Table& table, std::initializer_list<const char*> names) {
    for (const char* name : names) {
        if (!std::ranges::count(table.names, name)) {
            throw Nonsense(std::string("the statement has no column ") + name);
        }
    }
}

// Gives the columns the names that files of a data folder have, and the recipe their places. A
// name that nobody knows may be a value that is missed; one of another statement's columns is a
// value of another kind.
void NameColumns(std::string_view statement, Table& table, Recipe& recipe) {
    const struct {
        const char* name;
        std::string* place;
        std::string_view statements;
    } known[] = {{"Date", &recipe.date.name, "history dividends splits"},
                 {"Open", &recipe.open.name, "history"},
                 {"High", &recipe.high.name, "history"},
                 {"Low", &recipe.low.name, "history"},
                 {"Close", &recipe.close.name, "history"},
                 {"Volume", &recipe.volume.name, "history options"},
                 {"Adj Close", &recipe.adjusted.name, "history"},
                 {"Open Interest", &recipe.interest.name, "history options"},
                 {"Dividends", &recipe.dividends.amount, "history dividends"},
                 {"Splits", &recipe.splits.ratio.first, "history splits"},
                 {"Option", &recipe.option.name, "options"},
                 {"Last", &recipe.last.name, "options"},
                 {"Change", &recipe.change.name, "options"},
                 {"Bid", &recipe.bid.name, "options"},
                 {"Ask", &recipe.ask.name, "options"},
                 {"Implied Volatility", &recipe.volatility.name, "options"},
                 {"Underlying Last", &recipe.shareLast, "options"},
                 {"Underlying Change", &recipe.shareChange, "options"},
                 {"Underlying Bid", &recipe.shareBid, "options"},
                 {"Underlying Ask", &recipe.shareAsk, "options"},
                 {"Underlying Volume", &recipe.shareVolume, "options"},
                 {"Time", &recipe.time, "options"}};
    for (std::string& name : table.names) {
        const auto* found = std::ranges::find_if(known, [&](const auto& candidate) {
            return Spelling(candidate.name) == Spelling(name);
        });
        if (found == std::end(known)) {
            RefuseColumn(name);
        }
        if (found->statements.find(statement) == std::string_view::npos) {
            throw Nonsense("the column " + name + " belongs to another statement");
        }
        *found->place = name = found->name;
    }
}

// A quote's are called as in quotes.csv: "l1".
void NameLetters(Table& table, Recipe& recipe) {
    for (std::string& name : table.names) {
        name = Lower(name);
        const bool isLetter =
            name[0] >= 'a' && name[0] <= 'z' &&
            (name.size() == 1 || (name.size() == 2 && name[1] >= '0' && name[1] <= '9'));
        if (!isLetter && name != "time") {
            RefuseColumn(name);
        }
        recipe.quote.emplace_back(name, name);
    }
    Require(table, {"l1", "time"});
}

// A list of the columns that its form has, in any order.
Reading ReadList(const Table& table, const replies::OwnForm& form) {
    const auto columns = form.blocks[0].columns;
    Reading reading;
    std::vector<bool> areDates;
    for (const std::string& name : table.names) {
        const auto column = std::find_if(columns.begin(), columns.end(), [&](const auto& one) {
            return Spelling(std::string(one.name.begin(), one.name.end())) == Spelling(name);
        });
        if (column == columns.end()) {
            RefuseColumn(name);
        }
        areDates.push_back(column->type == replies::ColumnType::date);
        reading.table.append(reading.table.empty() ? "" : ",");
        reading.table.append(column->name.begin(), column->name.end());
    }
    for (std::size_t i = 0; i < table.cells.size(); ++i) {
        const std::size_t place = i % table.names.size();
        std::string text = table.cells[i];
        if (areDates[place] && !text.empty() && !ParseIsoDate(text = text.substr(0, 10))) {
            throw Nonsense("row " + std::to_string(i / table.names.size() + 1) + ", column " +
                           table.names[place] + ": \"" + text + "\" is not a date");
        }
        text = PrintableText(text);
        std::ranges::replace(text, '"', '\'');
        reading.table.append(1, place == 0 ? '\n' : ',').append("\"" + text + "\"");
    }
    reading.table += '\n';
    reading.state = table.cells.empty() ? State::Unknown : State::Rows;
    reading.why = table.cells.empty() ? "there are no rows of it" : "";
    return reading;
}

// Runs a statement and reads what it brings; what is wrong names the statement.
template <typename Read>
auto Named(const RunStatement& run, const char* name, const std::string& text, const Read& read) {
    try {
        Table table = run(name, text);
        return read(table);
    } catch (const DatabaseError& error) {
        throw DatabaseError(error.What(), std::string(name) + ": " + error.what());
    } catch (const Nonsense& nonsense) {
        throw Nonsense(std::string(name) + ": " + nonsense.what());
    }
}

Reading ReadHistory(const RunStatement& run, const Statements& statements, const Ask& ask,
                    Recipe& recipe) {
    Reading reading = Named(run, "history", statements.history, [&](Table& table) {
        NameColumns("history", table, recipe);
        Require(table, {"Date", "Close"});
        return ReadTable(recipe, ask, table);
    });
    if (reading.state != State::Rows || ask.kind != Kind::History) {
        return reading;
    }
    // Events have statements of their own, or columns beside the prices.
    const auto add = [&](const char* name, const std::string& text, const char* column,
                         auto History::*events) {
        if (text.empty()) {
            return;
        }
        const Reading more = Named(run, name, text, [&](Table& table) {
            Recipe places;
            places.dates = recipe.dates;
            places.isFloat32 = recipe.isFloat32;
            places.scale = recipe.scale;
            NameColumns(name, table, places);
            Require(table, {"Date", column});
            return ReadTable(places, ask, table);
        });
        auto& all = reading.history.*events;
        all.insert(all.end(), (more.history.*events).begin(), (more.history.*events).end());
    };
    add("dividends", statements.dividends, "Dividends", &History::dividends);
    add("splits", statements.splits, "Splits", &History::splits);
    return reading;
}

// Always in quotes, so that no row is an empty line.
void AppendCell(std::string& line, std::string text) {
    for (std::size_t at = 0; (at = text.find('"', at)) != text.npos; at += 2) {
        text.insert(at, 1, '"');
    }
    std::ranges::replace_if(
        text, [](char c) { return c == '\n' || c == '\r'; }, ' ');
    line.append(1, '"').append(text).append(1, '"');
}

}  // namespace

Reading ReadDatabase(const RunStatement& run, const Statements& statements, const Ask& ask,
                     Recipe& recipe) {
    switch (ask.kind) {
        case Kind::Quotes:
            return Named(run, "quotes", statements.quotes, [&](Table& table) {
                NameLetters(table, recipe);
                return ReadTable(recipe, ask, table);
            });
        case Kind::Lists: {
            const bool isOfExchanges = ask.ticker == "EXCHANGES";
            const std::string& list = isOfExchanges ? statements.exchanges : statements.contracts;
            if (list.empty()) {
                return {State::Unknown, "it has no such list"};
            }
            return Named(run, isOfExchanges ? "exchanges" : "contracts", list, [&](Table& table) {
                return ReadList(
                    table, isOfExchanges ? replies::inoExchangesForm : replies::inoFuturesListForm);
            });
        }
        case Kind::Options:
            return Named(run, "options", statements.options, [&](Table& table) {
                NameColumns("options", table, recipe);
                Require(table, {"Option", "Time"});
                for (std::string* place : {&recipe.shareLast, &recipe.shareChange, &recipe.shareBid,
                                           &recipe.shareAsk, &recipe.shareVolume, &recipe.time}) {
                    place->insert(0, place->empty() ? "" : "0/");  // of the first row
                }
                return ReadTable(recipe, ask, table);
            });
        case Kind::History:
        case Kind::Futures:
            break;
    }
    return ReadHistory(run, statements, ask, recipe);
}

WebAnswer AnswerOf(const std::function<Table()>& run) {
    const auto failure = [](State state, const char* what) {
        return WebAnswer{0, std::string(NameOf(state)) + ": " + what};
    };
    try {
        const Table table = run();
        WebAnswer answer{200};
        for (std::size_t i = 0; i < table.names.size() + table.cells.size(); ++i) {
            const bool isName = i < table.names.size();
            answer.body.append(i == 0 ? "" : i % table.names.size() == 0 ? "\n" : ",");
            AppendCell(answer.body, isName ? table.names[i] : table.cells[i - table.names.size()]);
        }
        answer.body += '\n';
        return answer;
    } catch (const DatabaseError& error) {
        return failure(error.What(), error.what());
    } catch (const Nonsense& nonsense) {
        return failure(State::Nonsense, nonsense.what());
    }
}

Table TableOf(const WebAnswer& answer) {
    if (answer.status != 200) {
        const std::size_t colon = answer.fault.find(": ");
        const auto* state = std::ranges::find(stateNames, answer.fault.substr(0, colon));
        if (state == std::end(stateNames)) {  // there is no recording
            throw DatabaseError(State::Down, answer.fault);
        }
        throw DatabaseError(static_cast<State>(state - stateNames), answer.fault.substr(colon + 2));
    }
    std::string_view rest = answer.body;
    Table table{SplitCsvLine(TakeLine(rest), ','), {}};
    while (!rest.empty()) {
        std::ranges::move(SplitCsvLine(TakeLine(rest), ','), std::back_inserter(table.cells));
    }
    if (table.cells.size() % table.names.size() != 0) {
        throw Nonsense("the recording is damaged");
    }
    return table;
}

}  // namespace quoteserver::living
