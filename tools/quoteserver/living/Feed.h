// One living source: a thread of its own that asks it one thing at a time, at a human pace.
#pragma once

#include <boost/asio/thread_pool.hpp>
#include <deque>
#include <mutex>
#include <optional>

#include "living/FeedsFile.h"
#include "living/Mapping.h"
#include "living/Statements.h"
#include "living/Web.h"

namespace quoteserver::living {

// When a feed may be asked: so many times in a span, no more, and not while it cools down. Not for
// several threads at once.
class Pace {
public:
    Pace(Rate pace, std::optional<Rate> budget) : m_pace(pace), m_budget(budget) {}

    // The earliest time for the next request.
    Clock::time_point Next(Clock::time_point now) const;
    void Count(Clock::time_point now);
    // Asked too often: not before then; without a time, after a minute, and twice as long each time
    // again up to an hour.
    void CoolDown(Clock::time_point now, Clock::time_point until = {});
    // What came was no such complaint.
    void Recover() { m_pause = {}; }
    Clock::time_point CoolUntil() const { return m_coolUntil; }
    // Of an earlier run of the program.
    void Restore(Clock::time_point until) { m_coolUntil = until; }

private:
    Rate m_pace;
    std::optional<Rate> m_budget;
    std::deque<Clock::time_point> m_times;  // of requests, the oldest first
    Clock::time_point m_coolUntil{};
    std::chrono::seconds m_pause{0};
};

class Feed {
public:
    Feed(const FeedSpec& spec, const FeedsFile& file, WebClient& client)
        : m_spec(spec),
          m_file(file),
          m_client(client),
          m_database(spec.odbc, spec.timeout),
          m_pace(spec.pace, spec.budget) {}

    const FeedSpec& Spec() const { return m_spec; }

    // Waits for its turn and for the answer; on the feed's thread.
    Outcome Fetch(const Ask& ask, const Today& today);

    boost::asio::thread_pool& Worker() { return m_worker; }

    // What the status page tells.
    struct Condition {
        State state = State::NoRows;  // of the last request
        std::string why;
        unsigned requests = 0;
        Clock::time_point next{};
    };
    Condition Tell() const;
    // Whether the thread has not come back from a request in three times its time limit: that many
    // statements a history has, and a database whose machine stands still says nothing at all.
    bool IsStuck() const;
    Clock::time_point CoolUntil() const;
    void Restore(Clock::time_point until);

private:
    std::string SymbolFor(const Ask& ask, std::vector<std::string>& notes) const;
    Outcome Request(const Ask& ask, const Today& today, const std::string& symbol);
    WebRequest RequestOf(const std::string& what, const std::string& symbol) const;
    Table Run(const std::string& name, const std::string& statement, const std::string& symbol,
              Date today);
    Outcome Judge(const WebAnswer& answer, const Ask& ask, const Today& today) const;
    Outcome FilesOf(Reading reading, const Recipe& recipe, const Ask& ask,
                    const Today& today) const;

    const FeedSpec& m_spec;
    const FeedsFile& m_file;
    WebClient& m_client;
    Database m_database;        // only of the feed's thread
    mutable std::mutex m_lock;  // of what follows
    Pace m_pace;
    Condition m_condition;
    std::optional<Clock::time_point> m_started;  // the request that is on its way
    boost::asio::thread_pool m_worker{1};
};

// The address with its marks filled in: {symbol}, percent-encoded, {table}, which is what the copy
// is called in a store, {firstEpoch}, {nowEpoch}, {first} and {today}. A history is always asked
// for whole, up to now: without the splits of later days no price is the one that was traded.
std::string FillIn(const std::string& url, const std::string& symbol, Kind kind,
                   Clock::time_point now);

// What the time of a Retry-After header is; nothing for one that cannot be read.
std::optional<Clock::time_point> RetryTime(std::string_view header, Clock::time_point now);

// Runs a program without a shell, in the folder, if one is given; its output is an answer of status
// 200, unless it fails.
WebAnswer RunCommand(const std::vector<std::string>& arguments, std::chrono::seconds timeout,
                     const std::filesystem::path& folder = {});

}  // namespace quoteserver::living
