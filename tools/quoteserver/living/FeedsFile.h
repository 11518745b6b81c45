// The file in which a user names the living sources: read whole, and every mistake told at once.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "living/Recipe.h"

namespace quoteserver::living {

// Of a database. Those that are empty are not there.
struct Statements {
    std::string history = {}, dividends = {}, splits = {}, quotes = {}, options = {};
    std::string exchanges = {}, contracts = {};  // lists
};

// A source of rows: a service of the web, or a program or a database of the user's.
struct FeedSpec {
    std::string name;
    Recipe recipe = {};
    std::vector<std::pair<std::string, std::string>> headers = {};
    std::vector<std::string> command = {};  // empty: the recipe's address is asked
    Rate pace = {};
    std::optional<Rate> budget = {};
    std::chrono::seconds timeout{20};
    bool isShared = false;  // may answer askers on other machines
    std::string odbc = {};  // how a database is connected to; empty: it is none
    Statements statements = {};

    // The user's program or database, no service.
    bool IsOwn() const { return !command.empty() || !odbc.empty(); }
    bool Serves(Kind kind) const {
        return odbc.empty() ? recipe.Serves(kind)
                            : !(kind == Kind::Quotes    ? statements.quotes
                                : kind == Kind::Options ? statements.options
                                : kind == Kind::Lists ? statements.exchanges + statements.contracts
                                                      : statements.history)
                                   .empty();
    }
};

// How long a copy counts as new, and how long it is better than nothing.
struct Ages {
    std::chrono::seconds fresh, stale;
};

struct FeedsFile {
    std::filesystem::path folder;       // of the file, where programs run; empty: the current one
    std::filesystem::path data, store;  // data may be empty: then nobody's files go first
    std::chrono::minutes newDay{17 * 60 + 45};
    Ages ages[5] = {{std::chrono::hours(24), std::chrono::hours(7 * 24)},
                    {std::chrono::seconds(60), std::chrono::minutes(15)},
                    {std::chrono::minutes(15), std::chrono::hours(24)},
                    {std::chrono::hours(24), std::chrono::hours(7 * 24)},
                    {std::chrono::hours(24), std::chrono::hours(30 * 24)}};
    std::chrono::seconds patience{25};
    std::vector<FeedSpec> feeds;
    std::vector<std::size_t> lineUp[5];  // of each kind, the feeds to ask, the first one first
    // symbols.csv: ticker, feed or *, symbol.
    std::map<std::pair<std::string, std::string>, std::string> symbols;
    std::vector<std::string> secrets;  // values that are never shown

    const Ages& AgesOf(Kind kind) const { return ages[static_cast<int>(kind)]; }
    const std::vector<std::size_t>& LineUpOf(Kind kind) const {
        return lineUp[static_cast<int>(kind)];
    }
};

// What stands in the file; the mistakes say what does not, each with its place. Paths in the file
// are relative to it. Throws std::runtime_error for a file that cannot be read or is no JSON.
FeedsFile ReadFeedsFile(const std::filesystem::path& file, Mistakes& mistakes);

// The same for the text of such a file.
FeedsFile ParseFeedsFile(const std::string& text, const std::filesystem::path& file,
                         Mistakes& mistakes);

}  // namespace quoteserver::living
