// What the living sources are asked, and what comes of it.
#pragma once

#include <chrono>
#include <limits>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "DataFolder.h"
#include "Http.h"
#include "Rows.h"

namespace quoteserver::living {

enum class Kind { History, Quotes, Options, Futures, Lists };

inline constexpr Kind allKinds[] = {Kind::History, Kind::Quotes, Kind::Options, Kind::Futures,
                                    Kind::Lists};
inline constexpr const char* kindNames[] = {"history", "quotes", "options", "futures", "lists"};

// Days of trade, a row each.
inline bool IsOfDays(Kind kind) { return kind == Kind::History || kind == Kind::Futures; }

inline const char* NameOf(Kind kind) { return kindNames[static_cast<int>(kind)]; }

struct Ask {
    Kind kind = Kind::History;
    // In capitals, which tell no tickers apart; of lists, EXCHANGES or CONTRACTS.
    std::string ticker = {};

    auto operator<=>(const Ask&) const = default;  // NOLINT(modernize-use-nullptr): not in it
};

inline constexpr double unknown = std::numeric_limits<double>::quiet_NaN();

struct Bar {
    Date day = {};
    double open = unknown, high = unknown, low = unknown, close = unknown;
    double volume = unknown;
    double adjusted = unknown;  // the close, less all later dividends and splits
    double interest = unknown;  // open contracts of a future
};

struct Dividend {
    Date day = {};
    double amount = 0;
};

struct Split {
    Date day = {};
    double shares = 1;  // for each one before: 4 for 4:1
};

// A reply as it was understood, before anything is worked out.
struct History {
    std::vector<Bar> bars;
    std::vector<Dividend> dividends;
    std::vector<Split> splits;
};

enum class State {
    Rows,      // what was asked
    NoRows,    // the feed knows the ticker, and has nothing of it
    Unknown,   // the feed says that there is no such ticker
    Limited,   // not now: asked too often
    Refused,   // not us
    Nonsense,  // something came that is not what was asked
    Down       // nothing came
};

inline constexpr const char* stateNames[] = {"rows",    "no rows",  "unknown", "limited",
                                             "refused", "nonsense", "down"};

inline const char* NameOf(State state) { return stateNames[static_cast<int>(state)]; }

using Clock = std::chrono::system_clock;

struct Outcome {
    State state = State::Down;
    std::string why = {};  // for a person, without secrets
    std::string feed = {};
    std::string symbol = {};       // what the feed was asked for
    Clock::time_point until = {};  // of Limited: when to ask again; none = as the keeper likes
    std::map<std::string, std::string> files = {};    // of Rows: name's end and text (".csv", …)
    std::size_t dropped = 0;                          // rows that were left out
    std::string first = {};                           // of Rows of days: the first one, yyyy-mm-dd
    std::optional<std::chrono::seconds> offset = {};  // of the market's clock, ahead of UTC
    std::string reply = {};               // of a failure: how it begins, without secrets
    std::vector<std::string> notes = {};  // for a person who tries the feed
};

// A reply that is not what was asked for. Its text says why.
class Nonsense : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What a request of a classic service needs and the user's own files, if any, do not have.
std::vector<Ask> AsksOf(const Request& request, const DataFolder* own);

}  // namespace quoteserver::living
