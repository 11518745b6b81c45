// How the reply of a service is read: a JSON document that anybody can write, and what it makes of
// bytes. Whatever a service sends, it becomes rows, or a reason why there are none.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "living/Ask.h"
#include "living/Json.h"

namespace quoteserver::living {

// Where a value stands: a JSON pointer below the rows, or a CSV column by its name in any case, or
// by its position, counted from 1.
struct Place {
    std::string name;
    std::size_t position = 0;

    bool IsGiven() const { return !name.empty() || position > 0; }
};

struct Recipe {
    enum class Format { JsonText, CsvText };
    enum class Dates { Iso, Compact, American, Seconds, Milliseconds };

    // Of dividends or splits: objects in a list or in an object; without such a place, values of
    // the rows themselves, where 0 is no dividend and 1 no split.
    struct Events {
        std::string each;
        std::string date = "date";
        std::string amount;
        std::pair<std::string, std::string> ratio;  // shares after, and before: none = 1
    };

    std::string terms, termsSay;  // where the service's terms stand, and a sentence of them
    std::string url;
    Format format = Format::JsonText;
    char separator = ',';
    std::string root;   // where the rows are; empty: the whole document
    std::string each;   // rows are objects of this list; empty: parallel lists
    std::string type;   // what the reply has to say that it is; empty: anything but a page
    std::string error;  // a text there is the service's own word for a failure
    std::vector<std::string> unknownTexts, limitedTexts;  // parts of replies that are no data
    bool isNoRowsUnknown = false;  // who has nothing of a symbol does not know it
    std::vector<unsigned> unknownStatuses, limitedStatuses{429, 503, 999};
    Place date;
    Dates dates = Dates::Iso;
    std::string offset;  // seconds that a place is ahead of UTC; of epoch dates
    Place open, high, low, close, adjusted, volume;
    Place option;  // of option tables: the symbol of 21 characters or fewer
    Place bid, ask, last, change, interest, volatility;
    // Of quotes: the letters of quotes.csv, and where their values stand; "time" stands for d1 and
    // t1, which are the clock's of the market.
    std::vector<std::pair<std::string, std::string>> quote;
    // Of option tables: the share's own values, and when they stood so, in UTC.
    std::string shareLast, shareChange, shareBid, shareAsk, shareVolume, time;
    Events dividends, splits;
    bool isSplitAdjusted = false, isVolumeSplitAdjusted = false;
    bool isFloat32 = false;  // numbers are 32-bit ones, written as 64-bit ones
    double scale = 1;        // of prices: 0.01 for pence
    using Patterns = std::vector<std::pair<std::string, std::string>>;
    Patterns symbols;  // patterns of tickers, and what stands for them
    Patterns futures;  // those of futures, which go first

    bool Serves(Kind kind) const {
        return kind == Kind::Options  ? option.IsGiven()
               : kind == Kind::Quotes ? !quote.empty()
                                      : kind != Kind::Lists && close.IsGiven();
    }
};

// Reads the keys of a recipe out of a section that may have others. Every mistake is noted there.
Recipe ReadRecipe(Section& section);

// The keys that a database has as well, whose tables say themselves which columns they have.
Recipe ReadRecipeOfTables(Section& section);

// What became of a reply's bytes; never rows without a reason to believe them.
struct Reading {
    State state = State::Rows;
    std::string why = {};
    History history = {};
    // Options in the classic form, or the quote as quotes.csv has it, or a list.
    std::string table = {};
    std::string ownChain = {};  // the options in our own form
    std::size_t dropped = 0;
    std::optional<std::chrono::seconds> offset = {};  // of the market's clock, ahead of UTC
};

// The status is 200, or one that a service sends its own texts with.
Reading ReadReply(const Recipe& recipe, const Ask& ask, const std::string& body);

// Rows of texts, one after the other, as a database has them; an empty one is no value.
struct Table {
    std::vector<std::string> names;
    std::vector<std::string> cells;
};

// The same for a table of the recipe's columns, or a quote's, which are named by their letters.
// Without rows the symbol counts as unknown: nothing else tells what a database has not.
Reading ReadTable(const Recipe& recipe, const Ask& ask, const Table& table);

// The symbol that stands for a ticker after the recipe's patterns, of which the first that fits
// counts.
std::string SymbolOf(const Recipe& recipe, const Ask& ask);

}  // namespace quoteserver::living
