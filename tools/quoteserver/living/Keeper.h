// Sees to it that what a request needs is in the store: new enough, asked for once however many
// want it, from the first source in the line-up that has it.
#pragma once

#include <utility>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <list>
#include <memory>
#include <set>

#include "Http.h"
#include "living/Feed.h"
#include "living/Store.h"

namespace quoteserver::living {

// How a request may be answered.
struct Readiness {
    bool isFailed = false;  // not at all: nothing that could be sent is true
    bool isStale = false;
    std::string source = {};  // the feed that the copy is from
    Clock::time_point fetched{};
    // How long the copy is new yet, and better than nothing.
    std::chrono::seconds fresh = std::chrono::seconds::max(), usable = std::chrono::seconds::max();
    std::string why = {};  // it is failed or stale
};

// Says so at the end of a table. No client may take it for the line in which the classic service
// named a server, letters and a number with a point behind them.
std::string SourceLine(const Readiness& readiness);

// Everything but Fetch of a feed runs on the thread of the io_context.
class Keeper {
public:
    Keeper(boost::asio::io_context& context, const FeedsFile& file,
           std::unique_ptr<WebClient> client);

    // Waits until every copy is there or the patience is over. Askers on other machines get
    // nothing of a source that must not be shared. It is noted that a copy begins after the first
    // day asked for.
    boost::asio::awaitable<Readiness> Ready(std::vector<Ask> asks, bool isLocal,
                                            std::optional<Date> from = {});

    // Every minute, until the context ends.
    boost::asio::awaitable<void> Renew();
    // Renews histories that were asked for in the last two weeks when a day is over, one after the
    // other, so that nobody who asks meanwhile stands behind them; a source that fails is let
    // alone.
    boost::asio::awaitable<void> RenewOnce();

    // One request past every copy, for who tries a feed out, or each statement of a database;
    // nothing is stored.
    std::vector<std::pair<Ask, Outcome>> Try(const std::string& feed, const std::string& ticker);

    // Feeds, copies, or only how many there are, and failures, as JSON.
    std::string Status(bool areCopiesListed = true) const;

private:
    struct Flight {
        std::optional<Outcome> outcome;  // none: on its way
        std::list<boost::asio::steady_timer*> waiting;
        Clock::time_point landed{};
    };
    // A feed's in a line-up, until it has answered or is given up.
    struct Turn {
        boost::asio::steady_timer watch;
        std::function<void(Outcome)> end;
    };
    using FlightOf = std::map<std::pair<Ask, bool>, std::shared_ptr<Flight>>;

    boost::asio::awaitable<Readiness> Ready(Ask ask, bool isLocal, Clock::time_point end,
                                            std::shared_ptr<Flight> flight);
    std::shared_ptr<Flight> Launch(const Ask& ask, bool isLocal);
    void AskNext(const Ask& ask, bool isLocal, std::size_t place, std::vector<Outcome> failures);
    void Watch(const Feed& feed, const std::shared_ptr<Turn>& turn);
    void Take(const Ask& ask, bool isLocal, std::size_t place, std::vector<Outcome> failures,
              Outcome outcome);
    void Land(const Ask& ask, bool isLocal, const Outcome& outcome);
    void NoteAsked(const Ask& ask, Date from);
    void SaveCoolDowns();
    std::string DoubtOf(const Ask& ask, const Outcome& outcome);
    bool MayGive(const std::string& feed, bool isLocal) const;
    bool IsFresh(const Ask& ask, const Copy& copy, Clock::time_point now) const;
    Today TodayAt(Clock::time_point now) const;
    void Log(const std::string& line);
    void LogFailure(const Ask& ask, const Outcome& outcome);

    boost::asio::io_context& m_context;
    const FeedsFile& m_file;
    std::unique_ptr<WebClient> m_client;
    Store m_store;
    std::vector<std::unique_ptr<Feed>> m_feeds;
    FlightOf m_flights;  // on their way; and those that brought nothing, for a while
    std::map<std::string, Clock::time_point> m_coolDowns;  // as they are stored
    using Asked = std::pair<Ask, bool>;                    // and whether from this machine
    std::map<Asked, Clock::time_point> m_asked;            // of histories, when last
    std::optional<Asked> m_renewed;                        // the last one
    std::list<std::string> m_log;                          // the last failures, the newest first
    std::list<std::string> m_replies;  // how the last failed replies begin, likewise
};

}  // namespace quoteserver::living
